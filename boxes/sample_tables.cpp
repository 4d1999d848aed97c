#include "qlip/vorn3gp/sample_tables.h"

#include <algorithm>
#include <memory>
#include <type_traits>

#include "boxes/fields.h"
#include "boxes/input.h"
#include "boxes/ownership.h"
#include "common/log.h"
#include "common/to_integer.h"
#include "qlip/vorn3gp/file.h"
#include "qlip/vorn3gp/sample_entries.h"

namespace {

constexpr const char* kPath = "filegen/src/sample_tables";

// With its configuration.
constexpr size_t kLargestSampleEntry = sizeof(Vorn3gp::MP4VisualSampleEntry) + sizeof(Vorn3gp::ESDBox);

constexpr auto kTimeRow = [](auto& row, auto& fields) {
    fields.be32(row.sample_count);
    fields.be32(row.sample_delta);
};

constexpr auto kChunkRow = [](auto& row, auto& fields) {
    fields.be32(row.first_chunk);
    fields.be32(row.samples_per_chunk);
    fields.be32(row.sample_description_index);
};

constexpr auto kWord = [](auto& word, auto& fields) { fields.be32(word); };

constexpr auto kSizeHeader = [](auto& box, auto& fields) {
    fields.be32(box.sample_size);
    fields.be32(box.sample_count);
};

// Takes a row's words, which are in machine order already, through the row's description.
class WordReader {
  public:
    explicit WordReader(const unsigned int* words) : words_(words) {}
    void be32(unsigned int& field) { field = *words_++; }

  private:
    const unsigned int* words_;
};

// Appends a piece of a table.
template <class Row, class Description>
void append_rows(std::vector<Row>& rows, std::span<const unsigned int> piece, Description describe) {
    if constexpr (std::is_same_v<Row, unsigned int>) {
        rows.insert(rows.end(), piece.begin(), piece.end());
    } else {
        for (size_t at = 0; at < piece.size(); at += sizeof(Row) / 4) {
            Row row;
            WordReader words(&piece[at]);
            describe(row, words);
            rows.push_back(row);
        }
    }
}

// Appends `count` rows. Memory for all of them is taken at once where the size of the file backs them, and
// otherwise as they arrive.
template <class Row, class Description>
Vorn3gp::Stream& read_rows(Vorn3gp::Stream& stream, unsigned int limit, unsigned int count,
                           std::vector<Row>& rows, Description describe) {
    qlip::TableRows table(stream, count, sizeof(Row) / 4);
    if (table.may_reserve(limit)) rows.reserve(rows.size() + count);
    for (auto piece = table.next_piece(); !piece.empty(); piece = table.next_piece())
        append_rows(rows, piece, describe);
    return stream;
}

template <class Row, class Description>
Vorn3gp::Stream& read_counted_rows(Vorn3gp::Stream& stream, unsigned int limit, std::vector<Row>& rows,
                                   Description describe) {
    unsigned int count = 0;
    var32_read(stream, count);
    return read_rows(stream, limit, count, rows, describe);
}

using ChunkCount = int (Vorn3gp::MdatBox::*)() const;

// Sets as many entries as there are both entries and chunks. `value` gives that of a chunk.
template <class Value>
void fix_up(std::vector<unsigned int>& entries, const Vorn3gp::MdatBox& mdat, ChunkCount count, Value value) {
    const int fixed = std::min((mdat.*count)(), static_cast<int>(entries.size()));
    for (int i = 0; i < fixed; ++i)
        entries[static_cast<size_t>(i)] = value(mdat, i);
}

using ChunkSize = unsigned int (Vorn3gp::MdatBox::*)(int) const;
using ChunkPosition = std::streampos (Vorn3gp::MdatBox::*)(int) const;

void fix_up_sizes(std::vector<unsigned int>& sizes, const Vorn3gp::MdatBox& mdat, ChunkCount count,
                  ChunkSize size) {
    fix_up(sizes, mdat, count, [size](const Vorn3gp::MdatBox& from, int i) { return (from.*size)(i); });
}

void fix_up_offsets(std::vector<unsigned int>& offsets, const Vorn3gp::MdatBox& mdat, ChunkCount count,
                    ChunkPosition position) {
    fix_up(offsets, mdat, count,
           [position](const Vorn3gp::MdatBox& from, int i) { return qlip::offset_of((from.*position)(i)); });
}

std::unique_ptr<Vorn3gp::Box> make_sample_entry(unsigned int type) {
    switch (type) {
        case Vorn3gp::type_word("samr"):
        case Vorn3gp::type_word("sawb"):
            return std::make_unique<Vorn3gp::AMRSampleEntry>(type);
        case Vorn3gp::type_word("mp4v"):
            return std::make_unique<Vorn3gp::MP4VisualSampleEntry>();
        case Vorn3gp::type_word("avc1"):
            return std::make_unique<Vorn3gp::H264SampleEntry>();
        case Vorn3gp::type_word("s263"):
            return std::make_unique<Vorn3gp::H263SampleEntry>();
        default:
            return std::make_unique<Vorn3gp::NullSampleEntry>();
    }
}

}  // namespace

namespace Vorn3gp {

SttsBox::SttsBox() : FullBox(type_word("stts"), 0, 0) {}

SttsBox::~SttsBox() = default;

Stream& SttsBox::Dump(Stream& stream) const {
    FullBox::Dump(stream);
    return qlip::dump_rows(stream, sample_entries, kTimeRow);
}

Stream& SttsBox::Read(Stream& stream, unsigned int limit) {
    FullBox::Read(stream, limit);
    return read_counted_rows(stream, limit, sample_entries, kTimeRow);
}

unsigned int SttsBox::GetSize() const {
    return FullBox::GetSize() + qlip::size_of_rows(sample_entries, kTimeRow);
}

void SttsBox::SetTimescale(unsigned int new_timescale, unsigned int old_timescale) {
    const double ratio = static_cast<double>(new_timescale) / static_cast<double>(old_timescale);
    for (tagSTTS_SAMPLE_ENTRY& entry : sample_entries)
        entry.sample_delta = qlip::to_u32(0.5 + entry.sample_delta * ratio);
}

void SttsBox::SetDuration(unsigned int /*new_duration*/) {}

unsigned int SttsBox::GetTimescale() const {
    return 0;
}

unsigned int SttsBox::GetDuration() const {
    return 0;
}

Stream& SttsBox::GoToStart(Stream& stream) {
    return qlip::go_to_start(stream, *this);
}

const std::vector<tagSTTS_SAMPLE_ENTRY>& SttsBox::GetSampleEntries() const {
    return sample_entries;
}

StscBox::StscBox() : FullBox(type_word("stsc"), 0, 0) {}

StscBox::~StscBox() = default;

Stream& StscBox::Dump(Stream& stream) const {
    FullBox::Dump(stream);
    return qlip::dump_rows(stream, sample_entries, kChunkRow);
}

Stream& StscBox::Read(Stream& stream, unsigned int limit) {
    FullBox::Read(stream, limit);
    return read_counted_rows(stream, limit, sample_entries, kChunkRow);
}

unsigned int StscBox::GetSize() const {
    return FullBox::GetSize() + qlip::size_of_rows(sample_entries, kChunkRow);
}

const std::vector<tagSTSC_SAMPLE_ENTRY>& StscBox::GetSampleEntries() const {
    return sample_entries;
}

StszBox::StszBox() : FullBox(type_word("stsz"), 0, 0) {}

StszBox::~StszBox() = default;

Stream& StszBox::Dump(Stream& stream) const {
    const unsigned int rows = sample_size == 0 ? sample_count : 0;
    if (rows > chunk_sizes.size()) {
        throw SimpleException(kPath, __LINE__, "Sample count is %u, but there are %zu sizes", rows,
                              chunk_sizes.size());
    }
    FullBox::Dump(stream);
    qlip::dump_fields(stream, *this, kSizeHeader);
    for (unsigned int i = 0; i < rows; ++i)
        var32_write(stream, chunk_sizes[i]);
    return stream;
}

Stream& StszBox::Read(Stream& stream, unsigned int limit) {
    FullBox::Read(stream, limit);
    qlip::read_fields(stream, *this, kSizeHeader);
    qlip::LimitedCallbacks* const limits = qlip::limits_of(stream);
    if (limits && !limits->take_samples(sample_count)) throw qlip::OverBudget();
    return sample_size == 0 ? read_rows(stream, limit, sample_count, chunk_sizes, kWord) : stream;
}

unsigned int StszBox::GetSize() const {
    return FullBox::GetSize() + qlip::size_of_fields(*this, kSizeHeader) +
           4 * static_cast<unsigned int>(chunk_sizes.size());
}

Stream& StszBox::GoToStart(Stream& stream) {
    return qlip::go_to_start(stream, *this);
}

void StszBox::FixupVideo(MdatBox* mdat) {
    fix_up_sizes(chunk_sizes, *mdat, &MdatBox::GetNumVideoChunks, &MdatBox::GetVideoChunkSize);
}

void StszBox::FixupVideoHint(MdatBox* mdat) {
    fix_up_sizes(chunk_sizes, *mdat, &MdatBox::GetNumVideoHintChunks, &MdatBox::GetVideoHintChunkSize);
}

void StszBox::FixupAudio(MdatBox* mdat) {
    fix_up_sizes(chunk_sizes, *mdat, &MdatBox::GetNumAudioChunks, &MdatBox::GetAudioChunkSize);
}

void StszBox::FixupAudioHint(MdatBox* mdat) {
    fix_up_sizes(chunk_sizes, *mdat, &MdatBox::GetNumAudioHintChunks, &MdatBox::GetAudioHintChunkSize);
}

unsigned int StszBox::GetSampleSize() const {
    return sample_size;
}

unsigned int StszBox::GetSampleCount() const {
    return sample_count;
}

const std::vector<unsigned int>& StszBox::GetChunkSizes() const {
    return chunk_sizes;
}

StcoBox::StcoBox() : FullBox(type_word("stco"), 0, 0) {}

StcoBox::~StcoBox() = default;

Stream& StcoBox::Dump(Stream& stream) const {
    FullBox::Dump(stream);
    return qlip::dump_rows(stream, chunk_offsets, kWord);
}

Stream& StcoBox::Read(Stream& stream, unsigned int limit) {
    FullBox::Read(stream, limit);
    return read_counted_rows(stream, limit, chunk_offsets, kWord);
}

unsigned int StcoBox::GetSize() const {
    return FullBox::GetSize() + qlip::size_of_rows(chunk_offsets, kWord);
}

Stream& StcoBox::GoToStart(Stream& stream) {
    return qlip::go_to_start(stream, *this);
}

void StcoBox::FixupVideo(MdatBox* mdat) {
    fix_up_offsets(chunk_offsets, *mdat, &MdatBox::GetNumVideoChunks, &MdatBox::GetVideoChunkPositions);
}

void StcoBox::FixupVideoHint(MdatBox* mdat) {
    fix_up_offsets(chunk_offsets, *mdat, &MdatBox::GetNumVideoHintChunks,
                   &MdatBox::GetVideoHintChunkPositions);
}

void StcoBox::FixupAudio(MdatBox* mdat) {
    fix_up_offsets(chunk_offsets, *mdat, &MdatBox::GetNumAudioChunks, &MdatBox::GetAudioChunkPositions);
}

void StcoBox::FixupAudioHint(MdatBox* mdat) {
    fix_up_offsets(chunk_offsets, *mdat, &MdatBox::GetNumAudioHintChunks,
                   &MdatBox::GetAudioHintChunkPositions);
}

const std::vector<unsigned int>& StcoBox::GetChunkOffsets() const {
    return chunk_offsets;
}

StssBox::StssBox() : FullBox(type_word("stss"), 0, 0) {}

StssBox::~StssBox() = default;

Stream& StssBox::Dump(Stream& stream) const {
    FullBox::Dump(stream);
    return qlip::dump_rows(stream, sync_samples, kWord);
}

Stream& StssBox::Read(Stream& stream, unsigned int limit) {
    FullBox::Read(stream, limit);
    return read_counted_rows(stream, limit, sync_samples, kWord);
}

unsigned int StssBox::GetSize() const {
    return FullBox::GetSize() + qlip::size_of_rows(sync_samples, kWord);
}

Stream& StssBox::GoToStart(Stream& stream) {
    return qlip::go_to_start(stream, *this);
}

void StssBox::AddSyncSampleEntry(unsigned int sample) {
    sync_samples.push_back(sample);
}

const std::vector<unsigned int>& StssBox::GetSyncSampleEntries() const {
    return sync_samples;
}

StsdBox::StsdBox() : FullBox(type_word("stsd"), 0, 0) {}

StsdBox::~StsdBox() {
    qlip::delete_owned(sample_entries, sample_entries_owned);
}

Stream& StsdBox::Dump(Stream& stream) const {
    FullBox::Dump(stream);
    var32_write(stream, static_cast<unsigned int>(sample_entries.size()));
    return qlip::dump(stream, sample_entries);
}

// An entry joins the table only when it was read whole.
Stream& StsdBox::Read(Stream& stream, unsigned int limit) {
    FullBox::Read(stream, limit);
    unsigned int count = 0;
    var32_read(stream, count);
    qlip::Metered metered(stream);
    for (unsigned int i = 0; i < count; ++i) {
        qlip::take_box(metered.stream(), kLargestSampleEntry);
        auto entry = make_sample_entry(peek_box(metered.stream(), limit));
        entry->Read(metered.stream(), limit);
        AddSampleEntry(entry.get(), true);
        static_cast<void>(entry.release());
    }
    return stream;
}

unsigned int StsdBox::GetSize() const {
    return FullBox::GetSize() + 4 + qlip::size_of(sample_entries);
}

Stream& StsdBox::GoToStart(Stream& stream) {
    return qlip::go_to_start(stream, *this);
}

void StsdBox::AddSampleEntry(Box* entry, bool owned) {
    qlip::append_child(sample_entries, sample_entries_owned, entry, owned);
}

const std::vector<Box*>& StsdBox::GetSampleEntries() const {
    return sample_entries;
}

}  // namespace Vorn3gp
