// Between milliseconds, ticks of the hint track's clock, samples and sync samples. Everything is 32-bit
// unsigned and truncates; nothing rounds.
#include "qlip/vorn3gp.h"
#include "second_reader/support.h"

using qlip::kReaderPath;

namespace {

constexpr unsigned int kMsPerSecond = 1000;

}  // namespace

// Whole ticks a millisecond: 44 for a clock of 44100. A clock below 1000 gives 0.
unsigned int C3gpInterface::ConvertMsTimeToMdhdTime(unsigned int uMs) {
    const unsigned int ticks = *m_puTimescale / kMsPerSecond * uMs;
    QLIP_LOG_DEBUG(kReaderPath,
                   "C3gpInterface::ConvertMsTimeToMdhdTime - Converted Timecode (ms=%d, mdhd=%d).", uMs,
                   ticks);
    return ticks;
}

// The sample whose span covers the time; 0 at or beyond the end of the table.
unsigned int C3gpInterface::ConvertMdhdTimeToSample(unsigned int uMdhd) {
    unsigned int count = 0;
    unsigned int time = 0;
    unsigned int sample = 0;
    for (const auto& run : m_TimeToSample) {
        const unsigned int span = run.sample_count * run.sample_delta;
        if (span + time > uMdhd) {
            const unsigned int offset = uMdhd - time;
            if (run.sample_delta == 0) {
                m_uStatus = QLIP_DIVISION_REFUSED;
                throw SimpleException(kReaderPath, __LINE__,
                                      "C3gpInterface::ConvertMdhdTimeToSample - Attempt to divide by zero.");
            }
            sample = offset / run.sample_delta + count + 1;
            QLIP_LOG_VERBOSE(
                kReaderPath,
                "C3gpInterface::ConvertMdhdTimeToSample - Matched STTS Entry (offset=%d, sample=%d).", offset,
                sample);
            break;
        }
        count += run.sample_count;
        time += span;
        QLIP_LOG_VERBOSE(
            kReaderPath,
            "C3gpInterface::ConvertMdhdTimeToSample - Advancing to next STTS Entry (count=%d, delta=%d).",
            run.sample_count, run.sample_delta);
    }
    QLIP_LOG_DEBUG(
        kReaderPath,
        "C3gpInterface::ConvertMdhdTimeToSample - Coverted MDHD Time to Sample (mdhd=%d, sample=%d).", uMdhd,
        sample);
    return sample;
}

unsigned int C3gpInterface::GetSyncSample(unsigned int uSample, unsigned int uFlags) {
    unsigned int found = uSample;
    if (m_bHasStss) {
        QLIP_LOG_VERBOSE(kReaderPath, "C3gpInterface::GetSyncSample - Track contains STSS Box.");
        found = FindSyncSample(uSample, uFlags);
    } else {
        QLIP_LOG_VERBOSE(kReaderPath, "C3gpInterface::GetSyncSample - Track does not contain STSS Box.");
    }
    if (found > m_uHintSampleCount) {
        m_uStatus = QLIP_CORRUPT_FILE;
        throw SimpleException(kReaderPath, __LINE__, "STSS Corruption (sync_sample=%d, max_samples=%d).",
                              found, m_uHintSampleCount);
    }
    QLIP_LOG_DEBUG(
        kReaderPath,
        "C3gpInterface::GetSyncSample - Calculated Seek Sample (sample=%d, seek_sample=%d, flags=%d).",
        uSample, found, uFlags);
    return found;
}

// Behind the last sync sample that one is the answer to every flag.
unsigned int C3gpInterface::FindSyncSample(unsigned int uSample, unsigned int uFlags) const {
    unsigned int previous = 0;
    for (const unsigned int current : m_SyncSamples) {
        QLIP_LOG_VERBOSE(
            kReaderPath,
            "C3gpInterface::GetSyncSample - Comparing Sample to STSS Entry (sample=%d, prev=%d, cur=%d).",
            uSample, previous, current);
        if (current == uSample) return uSample;
        if (uSample >= previous && current >= uSample) {
            // The sync sample further away, the previous one at equal distance: kept for hosts
            // [seek-nearest-is-further].
            const bool take_previous =
                uFlags == QLIP_SEEK_PREVIOUS_SYNC ||
                (uFlags == QLIP_SEEK_NEAREST_SYNC && uSample - previous >= current - uSample);
            return take_previous ? previous : current;
        }
        previous = current;
    }
    return previous;
}

// Also notes the sample's place in the time table and its exact tick, from which frame times go on after a
// seek.
unsigned int C3gpInterface::GetTimestampInMs(unsigned int uSample) {
    unsigned int count = 0;
    unsigned int time = 0;
    unsigned int ms = 0;
    for (size_t row = 0; row < m_TimeToSample.size(); ++row) {
        const auto& run = m_TimeToSample[row];
        if (uSample > count && uSample <= count + run.sample_count) {
            const unsigned int index = uSample - count - 1;
            ms = NoteSeekTime(row, index, index * run.sample_delta + time);
            break;
        }
        count += run.sample_count;
        time += run.sample_count * run.sample_delta;
        QLIP_LOG_VERBOSE(
            kReaderPath,
            "C3gpInterface::GetTimestampInMs - Advancing to next STSS Entry (count=%d, delta=%d).",
            run.sample_count, run.sample_delta);
    }
    QLIP_LOG_DEBUG(kReaderPath,
                   "C3gpInterface::GetTimestampInMs - Converting Sample to Time in MS (sample=%d, ms=%d).",
                   uSample, ms);
    return ms;
}

unsigned int C3gpInterface::NoteSeekTime(size_t uRow, unsigned int uIndex, unsigned int uTicks) {
    const unsigned int timescale = *m_puTimescale;
    if (timescale < kMsPerSecond) {
        m_uStatus = QLIP_DIVISION_REFUSED;
        throw SimpleException(kReaderPath, __LINE__,
                              "C3gpInterface::GetTimestampInMs - Attempt to divide by zero");
    }
    const unsigned int ms = uTicks / (timescale / kMsPerSecond);
    QLIP_LOG_VERBOSE(kReaderPath,
                     "C3gpInterface::GetTimestampInMs - Converting MDHD Time to MS Time "
                     "(count=%d,delta=%d,mdhd=%d,scale=%d,ms=%d).",
                     m_TimeToSample[uRow].sample_count, m_TimeToSample[uRow].sample_delta, uTicks, timescale,
                     ms);
    m_uSeekFrameTime = uTicks;
    m_itSeekTimeToSample = uRow;
    m_uSeekTimeToSampleIndex = uIndex;
    QLIP_LOG_VERBOSE(
        kReaderPath,
        "C3gpInterface::GetTimestampInMs - Setting temp frametime and time-to-samples (ft=%d, tts=%d).",
        m_uSeekFrameTime, m_uSeekTimeToSampleIndex);
    return ms;
}
