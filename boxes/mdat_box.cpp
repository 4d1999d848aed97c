#include "boxes/fields.h"
#include "qlip/vorn3gp/file.h"

namespace Vorn3gp {

ChunkDef::ChunkDef(std::streampos position_, unsigned int size_) : position(position_), size(size_) {}

ChunkDef::ChunkDef(const ChunkDef& other) = default;

ChunkDef& ChunkDef::operator=(const ChunkDef& other) = default;

ChunkDef::~ChunkDef() = default;

MdatBox::MdatBox() : Box(type_word("mdat")) {}

MdatBox::~MdatBox() = default;

Stream& MdatBox::Dump(Stream& stream) const {
    return stream;
}

Stream& MdatBox::Read(Stream& stream, unsigned int limit) {
    Box::Read(stream, limit);
    return Skip(stream);
}

unsigned int MdatBox::GetSize() const {
    return Box::GetSize() + data_size;
}

Stream& MdatBox::Close(Stream& stream) {
    qlip::go_to_start(stream, *this);
    return Box::Dump(stream);
}

Stream& MdatBox::AddChunk(Stream& stream, std::vector<ChunkDef>& sequence, void* data,
                          unsigned int chunk_size) {
    if (header_written != 1) {
        Box::Dump(stream);
        header_written = 1;
    }
    sequence.emplace_back(macro_Tell(stream), chunk_size);
    macro_Write(stream, static_cast<unsigned char*>(data), chunk_size);
    data_size += chunk_size;
    return stream;
}

Stream& MdatBox::AddHintChunk(Stream& stream, std::vector<ChunkDef>& /*sequence*/,
                              const CHintSample* /*sample*/) {
    return stream;
}

Stream& MdatBox::AddVideoChunk(Stream& stream, void* data, unsigned int chunk_size) {
    return AddChunk(stream, video_chunks, data, chunk_size);
}

Stream& MdatBox::AddVideoHintChunk(Stream& stream, const CHintSample* sample) {
    return AddHintChunk(stream, video_hint_chunks, sample);
}

Stream& MdatBox::AddAudioChunk(Stream& stream, void* data, unsigned int chunk_size) {
    return AddChunk(stream, audio_chunks, data, chunk_size);
}

Stream& MdatBox::AddAudioHintChunk(Stream& stream, const CHintSample* sample) {
    return AddHintChunk(stream, audio_hint_chunks, sample);
}

int MdatBox::GetNumVideoChunks() const {
    return static_cast<int>(video_chunks.size());
}

int MdatBox::GetNumVideoHintChunks() const {
    return static_cast<int>(video_hint_chunks.size());
}

int MdatBox::GetNumAudioChunks() const {
    return static_cast<int>(audio_chunks.size());
}

int MdatBox::GetNumAudioHintChunks() const {
    return static_cast<int>(audio_hint_chunks.size());
}

std::streampos MdatBox::GetVideoChunkPositions(int index) const {
    return video_chunks[static_cast<size_t>(index)].position;
}

std::streampos MdatBox::GetVideoHintChunkPositions(int index) const {
    return video_hint_chunks[static_cast<size_t>(index)].position;
}

std::streampos MdatBox::GetAudioChunkPositions(int index) const {
    return audio_chunks[static_cast<size_t>(index)].position;
}

std::streampos MdatBox::GetAudioHintChunkPositions(int index) const {
    return audio_hint_chunks[static_cast<size_t>(index)].position;
}

unsigned int MdatBox::GetVideoChunkSize(int index) const {
    return video_chunks[static_cast<size_t>(index)].size;
}

unsigned int MdatBox::GetVideoHintChunkSize(int index) const {
    return video_hint_chunks[static_cast<size_t>(index)].size;
}

unsigned int MdatBox::GetAudioChunkSize(int index) const {
    return audio_chunks[static_cast<size_t>(index)].size;
}

unsigned int MdatBox::GetAudioHintChunkSize(int index) const {
    return audio_hint_chunks[static_cast<size_t>(index)].size;
}

}  // namespace Vorn3gp
