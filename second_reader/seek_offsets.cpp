// From a hint sample to file offsets: its own, and that of the media sample that it starts with.
#include <algorithm>

#include "formats/rtp_hint_sample.h"
#include "second_reader/producers/hint_walk.h"
#include "second_reader/walking.h"

using qlip::kNoOffset;
using qlip::kReaderPath;

namespace {

constexpr unsigned int kNoSample = 0xFFFFFFFF;

// A hint sample read at its own pace. Taking more than is left fails the walk; `fits` tells beforehand.
class HintReader {
  public:
    HintReader(const unsigned char* begin, unsigned int size) : next_(begin), left_(size) {}

    bool packet_fits() const { return qlip::packet_header_fits(next_, left_); }
    bool fits(size_t count) const { return count <= left_; }

    unsigned int u8() { return taken(1, PropFile::GetAndAdvance8(&next_)); }
    unsigned int u16() { return taken(2, PropFile::GetAndAdvance16(&next_)); }
    unsigned int u32() { return taken(4, PropFile::GetAndAdvance32(&next_)); }
    void skip(size_t count) {
        next_ += count;
        left_ -= count;
    }

  private:
    unsigned int taken(size_t count, unsigned int value) {
        left_ -= count;
        return value;
    }

    const unsigned char* next_;
    size_t left_;
};

// One constructor: lowers `lowest` to the media sample that it names. False when it does not fit.
bool take_constructor(HintReader& reader, unsigned int& lowest) {
    if (!reader.fits(1)) return false;
    const unsigned int kind = reader.u8();
    if (kind > qlip::kSampleDescriptionConstructor) return true;
    if (!reader.fits(qlip::kBehindConstructorKind)) return false;
    if (kind != qlip::kSampleConstructor) {
        reader.skip(qlip::kBehindConstructorKind);
        return true;
    }
    reader.skip(3);  // track reference, length
    const unsigned int sample = reader.u32();
    reader.skip(8);  // offset, block sizes
    QLIP_LOG_VERBOSE(kReaderPath, "C3gpInterface::GetMediaSample - Found Media Sample (sample=%d).", sample);
    lowest = std::min(lowest, sample);
    return true;
}

bool take_packet(HintReader& reader, unsigned int& lowest) {
    if (!reader.packet_fits()) return false;
    reader.skip(8);  // relative time, RTP header, sequence
    const unsigned int flags = reader.u16();
    const unsigned int constructors = reader.u16();
    if (flags & qlip::kHintExtraInformation) reader.skip(reader.u32() - qlip::kHintExtraLengthBytes);
    for (unsigned int i = 0; i < constructors; ++i)
        if (!take_constructor(reader, lowest)) return false;
    return true;
}

// A run of chunks with the same number of samples: first and last of each.
struct Run {
    unsigned int first_chunk, last_chunk, chunks;
    unsigned int first_sample, last_sample, samples;
};

// Worked out from the end of the run, since only the run behind it tells where it ends.
Run run_before(unsigned int last_chunk, unsigned int last_sample, const tagSTSC_SAMPLE_ENTRY& entry) {
    Run run;
    run.first_chunk = entry.first_chunk;
    run.last_chunk = last_chunk;
    run.chunks = last_chunk - entry.first_chunk + 1;
    run.samples = entry.samples_per_chunk * run.chunks;
    run.first_sample = last_sample - run.samples + 1;
    run.last_sample = last_sample;
    return run;
}

}  // namespace

unsigned int C3gpInterface::GetMediaSample(unsigned int uHintSample, unsigned int uOffset,
                                           unsigned int uSize) {
    RequireBuffers();
    Vorn3gp::macro_Seek(m_pIOCallback, uOffset);
    Vorn3gp::macro_Read(m_pIOCallback, m_pHintBuffer, uSize);
    HintReader reader(m_pHintBuffer, uSize);
    unsigned int lowest = kNoSample;
    bool whole = reader.fits(qlip::kHintSampleHeaderBytes);
    if (whole) {
        const unsigned int packets = reader.u16();
        reader.skip(2);  // reserved
        QLIP_LOG_VERBOSE(kReaderPath,
                         "C3gpInterface::GetMediaSample - Processing Hint Sample (num_packets=%d).", packets);
        for (unsigned int i = 0; i < packets && whole; ++i)
            whole = take_packet(reader, lowest);
    }
    if (!whole) {
        m_uStatus = QLIP_CORRUPT_FILE;
        throw SimpleException(kReaderPath, __LINE__, "Hint sample %d ends before its content does",
                              uHintSample);
    }
    QLIP_LOG_DEBUG(kReaderPath,
                   "C3gpInterface::GetMediaSample - Determined First Media Sample (hint_sample=%d, "
                   "first_media_sample=%d).",
                   uHintSample, lowest);
    return lowest;
}

// The file's last media sample counts as having no offset: kept for hosts, which move by it
// [seek-last-sample-offset].
unsigned int C3gpInterface::CalcMediaOffset(unsigned int uSample) {
    const bool known = m_pSampleInfo && uSample != 0 && uSample < m_uMediaSampleCount;
    const unsigned int offset = known ? m_pSampleInfo[uSample - 1].uOffset : kNoOffset;
    QLIP_LOG_DEBUG(
        kReaderPath,
        "C3gpInterface::CalcMediaOffset - Calculated Media Sample File Offset (sample=%d, offset=%d).",
        uSample, offset);
    return offset;
}

unsigned int C3gpInterface::CalcHintOffset(unsigned int uSample, unsigned int* puSize) {
    if (m_SampleToChunk.empty()) {
        m_uStatus = QLIP_CORRUPT_FILE;
        throw SimpleException(kReaderPath, __LINE__,
                              "C3gpInterface::CalcHintOffset - No Sample-to-Chunk Table in Hint Track");
    }
    unsigned int first_in_chunk = 0;
    unsigned int offset = kNoOffset;
    if (FindHintChunk(uSample, &first_in_chunk) && m_uSeekChunk != 0 &&
        m_uSeekChunk <= m_ChunkOffsets.size()) {
        m_uSeekChunkBytes = BytesBefore(uSample, first_in_chunk, puSize);
        offset = m_ChunkOffsets[m_uSeekChunk - 1] + m_uSeekChunkBytes;
    }
    QLIP_LOG_DEBUG(
        kReaderPath,
        "C3gpInterface::CalcHintOffset - Calculated Hint Sample File Offset (sample=%d, offset=%d, size=%d).",
        uSample, offset, *puSize);
    return offset;
}

// Finds the run and chunk of a sample, from the last run backwards, and the chunk's first sample. False for a
// sample in no run.
bool C3gpInterface::FindHintChunk(unsigned int uSample, unsigned int* puFirstInChunk) {
    unsigned int last_chunk = m_uChunkCount;
    unsigned int last_sample = m_uHintSampleCount;
    for (m_itSeekSampleToChunk = m_SampleToChunk.size(); m_itSeekSampleToChunk-- > 0;) {
        const auto& entry = m_SampleToChunk[m_itSeekSampleToChunk];
        const Run run = run_before(last_chunk, last_sample, entry);
        QLIP_LOG_VERBOSE(
            kReaderPath,
            "C3gpInterface::CalcHintOffset - Processing STSC Entry (s=%d, fs=%d, ls=%d, ns=%d, fc=%d, "
            "lc=%d, nc=%d).",
            uSample, run.first_sample, run.last_sample, run.samples, run.first_chunk, run.last_chunk,
            run.chunks);
        if (uSample != 0 && uSample >= run.first_sample && uSample <= run.last_sample) {
            *puFirstInChunk = EnterHintChunk(uSample, run.first_sample, entry);
            return true;
        }
        last_sample = run.first_sample - 1;
        last_chunk = run.first_chunk - 1;
    }
    m_itSeekSampleToChunk = 0;
    return false;
}

unsigned int C3gpInterface::EnterHintChunk(unsigned int uSample, unsigned int uFirstInRun,
                                           const tagSTSC_SAMPLE_ENTRY& Entry) {
    if (Entry.samples_per_chunk == 0) {
        m_uStatus = QLIP_DIVISION_REFUSED;
        throw SimpleException(kReaderPath, __LINE__,
                              "C3gpInterface::CalcHintOffset - Attempt to divide by zero");
    }
    const unsigned int in_run = uSample - uFirstInRun;
    const unsigned int chunk_in_run = in_run / Entry.samples_per_chunk;
    m_uSeekSampleOffsetInChunk = in_run % Entry.samples_per_chunk;
    m_uSeekChunk = Entry.first_chunk + chunk_in_run;
    const unsigned int first_in_chunk = Entry.samples_per_chunk * chunk_in_run + uFirstInRun;
    QLIP_LOG_VERBOSE(
        kReaderPath,
        "C3gpInterface::CalcHintOffset - Matched STSC Entry (sig=%d, sic=%d, fsic=%d, cig=%d, c=%d).", in_run,
        m_uSeekSampleOffsetInChunk, first_in_chunk, chunk_in_run, m_uSeekChunk);
    return first_in_chunk;
}

// Bytes of the chunk's samples before this one; also stores this one's size.
unsigned int C3gpInterface::BytesBefore(unsigned int uSample, unsigned int uFirstInChunk,
                                        unsigned int* puSize) {
    if (m_SampleSizes.size() == 1) {
        const unsigned int size = m_SampleSizes[0];
        QLIP_LOG_VERBOSE(kReaderPath,
                         "C3gpInterface::CalcHintOffset - All hint samples are same size (size=%d).", size);
        *puSize = size;
        return size * (uSample - uFirstInChunk);
    }
    unsigned int bytes = 0;
    for (unsigned int sample = uFirstInChunk; sample < uSample; ++sample)
        bytes += SizeOfHintSample(sample);
    *puSize = SizeOfHintSample(uSample);
    return bytes;
}

unsigned int C3gpInterface::SizeOfHintSample(unsigned int uSample) {
    if (uSample == 0 || uSample > m_SampleSizes.size()) {
        m_uStatus = QLIP_INDEX_REFUSED;
        throw SimpleException(kReaderPath, __LINE__,
                              "C3gpInterface::CalcHintOffset - Invalid Array Access (index=%d, size=%d).",
                              uSample, static_cast<unsigned int>(m_SampleSizes.size()));
    }
    return m_SampleSizes[uSample - 1];
}
