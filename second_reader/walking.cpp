// Walking the hint track one sample at a time: cursors and counters only, so that a step costs the same
// wherever it is.
#include <algorithm>

#include "second_reader/checks.h"

using qlip::kReaderPath;

void C3gpInterface::FailAtTableEnd(const char* pszTable) const {
    NoteDeadEnd();
    throw SimpleException(kReaderPath, __LINE__, "%s: Iterated off the end of the %s table!", m_pszModeName,
                          pszTable);
}

unsigned int C3gpInterface::GetCurrentHintSample() {
    RequireCurrentSample();
    return ReadHintSample();
}

unsigned int C3gpInterface::ReadHintSample() {
    m_uHintFilePos = m_ChunkOffsets[m_itChunkOffset] + m_uCurChunkBytes;
    QLIP_LOG_VERBOSE(kReaderPath, "Frame %-4d: Retrieving hint sample from offset %d", m_iHintSample,
                     m_uHintFilePos);
    const unsigned int read = ReadSample(m_pHintBuffer, m_SampleSizes[m_itSampleSize], m_uHintFilePos);
    m_uHintFilePos += read;
    return read;
}

bool C3gpInterface::AdvanceToNextHintSample() {
    if (m_iHintSample >= m_uHintSampleCount) return false;
    RequireCurrentSample();
    return StepToNextHintSample();
}

// As AdvanceToNextHintSample, from a sample that is known to be there.
bool C3gpInterface::StepToNextHintSample() {
    if (m_iHintSample >= m_uHintSampleCount) return false;
    ++m_iHintSample;
    m_uCurChunkBytes += m_SampleSizes[m_itSampleSize];
    AdvanceSampleSize();
    AdvanceChunk();
    AdvanceTime();
    const unsigned int low_water = std::min(m_uMediaFilePos, m_uHintFilePos);
    QLIP_LOG_VERBOSE(kReaderPath, "Moving IO Callback file pointer to: %d", low_water);
    IOFileStreamAdvance(m_pIOCallback, low_water);
    return true;
}

// A single size is everybody's, and the cursor stays on it.
void C3gpInterface::AdvanceSampleSize() {
    if (m_SampleSizes.size() > 1 && ++m_itSampleSize == m_SampleSizes.size()) FailAtTableEnd("sample size");
}

// A run comes into force at the first step inside its first chunk, and only if that chunk is met exactly.
// After a seek into a later chunk of a run the cursor waits for a chunk that has passed, and the samples per
// chunk stay as they are to the end of the stream: kept for hosts that were built on it [seek-into-run].
void C3gpInterface::AdvanceChunk() {
    if (m_itSampleToChunk < m_SampleToChunk.size() &&
        m_SampleToChunk[m_itSampleToChunk].first_chunk == m_uChunk) {
        m_uSamplesPerChunk = m_SampleToChunk[m_itSampleToChunk++].samples_per_chunk;
        QLIP_LOG_VERBOSE(kReaderPath,
                         "Moving to next SampleToChunk entry at chunk %d.  New SamplesPerChunk: %d", m_uChunk,
                         m_uSamplesPerChunk);
    }
    if (++m_uSampleOffsetInChunk < m_uSamplesPerChunk) return;
    QLIP_LOG_VERBOSE(kReaderPath, "Moving to next Chunk entry at sample %d  Current SamplesPerChunk: %d",
                     m_iHintSample, m_uSamplesPerChunk);
    if (++m_itChunkOffset == m_ChunkOffsets.size()) FailAtTableEnd("chunk offset");
    ++m_uChunk;
    m_uSampleOffsetInChunk = 0;
    m_uCurChunkBytes = 0;
}

void C3gpInterface::AdvanceTime() {
    if (++m_uTimeToSampleIndex < m_TimeToSample[m_itTimeToSample].sample_count) return;
    QLIP_LOG_VERBOSE(kReaderPath, "Moving to next TimeToSample entry at sample %d", m_iHintSample);
    if (++m_itTimeToSample == m_TimeToSample.size()) FailAtTableEnd("time to sample");
    m_uTimeToSampleIndex = 0;
}
