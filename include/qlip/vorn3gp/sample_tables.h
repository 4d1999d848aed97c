// The tables of "stbl" (ISO/IEC 14496-12, 8.5 to 8.7), read whole into memory.
//
// A row count is taken from the file as it stands and may run past the end of its box. Rows that the stream
// ends in are zero; a count far beyond the end of the stream throws std::bad_alloc.
#pragma once

#include <vector>

#include "qlip/vorn3gp/box.h"

// A run of samples of one duration (8.6.1.2).
struct tagSTTS_SAMPLE_ENTRY {
    unsigned int sample_count;
    unsigned int sample_delta;  // in units of the media's timescale
};

// A run of chunks alike (8.7.4). Chunks and descriptions count from 1.
struct tagSTSC_SAMPLE_ENTRY {
    unsigned int first_chunk;
    unsigned int samples_per_chunk;
    unsigned int sample_description_index;
};

namespace Vorn3gp {

// "stts": decoding time to sample.
class QLIP_API SttsBox : public FullBox, public FixupableTime {
  public:
    SttsBox();
    ~SttsBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    // Converts every delta to the new timescale, rounding halves up.
    void SetTimescale(unsigned int new_timescale, unsigned int old_timescale) override;
    void SetDuration(unsigned int new_duration) override;  // does nothing
    unsigned int GetTimescale() const override;            // always 0
    unsigned int GetDuration() const override;             // always 0
    Stream& GoToStart(Stream& stream) override;

    const std::vector<tagSTTS_SAMPLE_ENTRY>& GetSampleEntries() const;

    std::vector<tagSTTS_SAMPLE_ENTRY> sample_entries;
    unsigned int unused[3] = {1, 0, 0};  // no operation uses these
};

// "stsc": sample to chunk.
class QLIP_API StscBox : public FullBox {
  public:
    StscBox();
    ~StscBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    const std::vector<tagSTSC_SAMPLE_ENTRY>& GetSampleEntries() const;

    std::vector<tagSTSC_SAMPLE_ENTRY> sample_entries;
};

// "stsz": sample sizes (8.7.3.2): one size for all samples, or, where that is 0, a table.
class QLIP_API StszBox : public FullBox, public Fixupable {
  public:
    StszBox();
    ~StszBox() override;

    // Writes sample_count rows of the table; throws SimpleException, with nothing written, when there are
    // fewer.
    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    // Take the sizes of the chunks.
    Stream& GoToStart(Stream& stream) override;
    void FixupVideo(MdatBox* mdat) override;
    void FixupVideoHint(MdatBox* mdat) override;
    void FixupAudio(MdatBox* mdat) override;
    void FixupAudioHint(MdatBox* mdat) override;

    unsigned int GetSampleSize() const;  // 0 when the sizes differ
    unsigned int GetSampleCount() const;
    const std::vector<unsigned int>& GetChunkSizes() const;  // empty when all samples have one size

    unsigned int sample_size = 0;
    unsigned int sample_count = 0;
    std::vector<unsigned int> chunk_sizes;
};

// "stco": chunk offsets from the start of the file (8.7.5).
class QLIP_API StcoBox : public FullBox, public Fixupable {
  public:
    StcoBox();
    ~StcoBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    // Take the positions of the chunks.
    Stream& GoToStart(Stream& stream) override;
    void FixupVideo(MdatBox* mdat) override;
    void FixupVideoHint(MdatBox* mdat) override;
    void FixupAudio(MdatBox* mdat) override;
    void FixupAudioHint(MdatBox* mdat) override;

    const std::vector<unsigned int>& GetChunkOffsets() const;

    std::vector<unsigned int> chunk_offsets;
};

// "stss": sync samples, counted from 1 (8.6.2).
class QLIP_API StssBox : public FullBox, public Rewindable {
  public:
    StssBox();
    ~StssBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    Stream& GoToStart(Stream& stream) override;

    void AddSyncSampleEntry(unsigned int sample);
    const std::vector<unsigned int>& GetSyncSampleEntries() const;

    std::vector<unsigned int> sync_samples;
};

// "stsd": sample descriptions (8.5.2). Entries of the types that the model knows are of their classes in
// sample_entries.h, told apart by GetType; all others are NullSampleEntry.
class QLIP_API StsdBox : public FullBox, public Rewindable {
  public:
    StsdBox();
    ~StsdBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    Stream& GoToStart(Stream& stream) override;

    void AddSampleEntry(Box* entry, bool owned);
    const std::vector<Box*>& GetSampleEntries() const;

    unsigned int unused = 1;  // no operation uses this
    std::vector<Box*> sample_entries;
    std::vector<bool> sample_entries_owned;
};

}  // namespace Vorn3gp
