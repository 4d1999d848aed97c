// A whole file, and its media data.
#pragma once

#include <ios>
#include <vector>

#include "qlip/vorn3gp/box.h"

// What a host's override of MdatBox::AddHintChunk expects; the model passes it along and never looks inside.
class CHintSample;

namespace Vorn3gp {

class FtypBox;
class MoovBox;

// Where a chunk of media data went.
class QLIP_API ChunkDef {
  public:
    ChunkDef(std::streampos position, unsigned int size);
    ChunkDef(const ChunkDef& other);
    ChunkDef& operator=(const ChunkDef& other);
    virtual ~ChunkDef();

    std::streampos position;  // of its first byte
    unsigned int size;
};

// "mdat": media data (ISO/IEC 14496-12, 8.1.1). Reading skips it. Writing goes chunk by chunk, straight to
// the stream: the first Add* writes the header, Close writes it again with the final size.
class QLIP_API MdatBox : public Box {
  public:
    MdatBox();
    ~MdatBox() override;

    Stream& Dump(Stream& stream) const override;  // does nothing
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    // Writes the header again in its place; the stream is left behind it.
    virtual Stream& Close(Stream& stream);

    // Writes `size` bytes at the current position and notes them in `sequence`. After a failed write the note
    // is there and data_size has not grown.
    virtual Stream& AddChunk(Stream& stream, std::vector<ChunkDef>& sequence, void* data, unsigned int size);

    // Does nothing; a host that writes hint samples overrides it.
    virtual Stream& AddHintChunk(Stream& stream, std::vector<ChunkDef>& sequence, const CHintSample* sample);

    Stream& AddVideoChunk(Stream& stream, void* data, unsigned int size);
    Stream& AddVideoHintChunk(Stream& stream, const CHintSample* sample);
    Stream& AddAudioChunk(Stream& stream, void* data, unsigned int size);
    Stream& AddAudioHintChunk(Stream& stream, const CHintSample* sample);

    int GetNumVideoChunks() const;
    int GetNumVideoHintChunks() const;
    int GetNumAudioChunks() const;
    int GetNumAudioHintChunks() const;

    // The chunk at `index`, which counts from 0 and is not checked.
    std::streampos GetVideoChunkPositions(int index) const;
    std::streampos GetVideoHintChunkPositions(int index) const;
    std::streampos GetAudioChunkPositions(int index) const;
    std::streampos GetAudioHintChunkPositions(int index) const;
    unsigned int GetVideoChunkSize(int index) const;
    unsigned int GetVideoHintChunkSize(int index) const;
    unsigned int GetAudioChunkSize(int index) const;
    unsigned int GetAudioHintChunkSize(int index) const;

    unsigned int header_written = 0;  // 1 once the header stands in the stream
    unsigned int data_size = 0;       // bytes of media data so far
    std::vector<ChunkDef> video_chunks;
    std::vector<ChunkDef> video_hint_chunks;
    std::vector<ChunkDef> audio_chunks;
    std::vector<ChunkDef> audio_hint_chunks;
};

// The root of a tree: it has no box of its own. The boxes of a file may come in any order; several mdat all
// stay, and of several moov or ftyp the last wins.
class QLIP_API Simple3gp : public ContainerBox {
  public:
    Simple3gp();
    ~Simple3gp() override;

    // Writes ftyp and moov; a missing one ends the process, as a failed assertion does, before anything is
    // written.
    Stream& Dump(Stream& stream) const override;

    // Reads the file from the current position to its end. `limit` is ignored; the stream's own size counts.
    // Nothing is required: look at GetFtyp and GetMoov. After an exception the tree holds what was read so
    // far.
    Stream& Read(Stream& stream, unsigned int limit) override;

    void SetFtyp(FtypBox* child, bool owned);
    void SetMoov(MoovBox* child, bool owned);
    void AddMdat(MdatBox* child, bool owned);

    FtypBox* GetFtyp() const;  // may be null
    MoovBox* GetMoov() const;  // may be null

    FtypBox* ftyp = nullptr;
    bool ftyp_owned = false;
    MoovBox* moov = nullptr;
    bool moov_owned = false;
    std::vector<MdatBox*> mdats;
    std::vector<bool> mdats_owned;
};

}  // namespace Vorn3gp
