// What is done for each sample, inline: the questions that come before buffers and tables are touched, the
// reading, and whose producer it is.
#pragma once

#include <algorithm>

#include "boxes/checked_calls.h"
#include "qlip/vorn3gp.h"
#include "second_reader/support.h"

// After an open that failed the object counts as open and may have none of them.
inline void C3gpInterface::RequireBuffers() const {
    if (!m_pMediaBuffer || !m_pHintBuffer || !m_pSampleInfo) FailWithoutBuffers();
}

// Guards the cursors: a table that ended too early ends every later call, too.
inline void C3gpInterface::RequireCurrentSample() const {
    RequireBuffers();
    if (m_itSampleSize >= m_SampleSizes.size()) FailAtTableEnd("sample size");
    if (m_itChunkOffset >= m_ChunkOffsets.size()) FailAtTableEnd("chunk offset");
    if (m_itTimeToSample >= m_TimeToSample.size()) FailAtTableEnd("time to sample");
}

inline unsigned int C3gpInterface::ReadSample(unsigned char* pData, unsigned int nBytes,
                                              unsigned int uOffset) {
    if (m_bIndexedRead) return ReadIndexed(pData, nBytes, uOffset);
    qlip::seek_to(m_pIOCallback, uOffset);
    const unsigned int arrived = qlip::read_some(m_pIOCallback, pData, nBytes);
    if (m_pSimple3gp) qlip::open_file(m_pSimple3gp)->note_arrival(arrived);
    return nBytes;
}

// The current one, which must be there.
inline unsigned int C3gpInterface::ReadHintSample() {
    m_uHintFilePos = m_ChunkOffsets[m_itChunkOffset] + m_uCurChunkBytes;
    QLIP_LOG_VERBOSE(qlip::kReaderPath, "Frame %-4d: Retrieving hint sample from offset %d", m_iHintSample,
                     m_uHintFilePos);
    const unsigned int read = ReadSample(m_pHintBuffer, m_SampleSizes[m_itSampleSize], m_uHintFilePos);
    m_uHintFilePos += read;
    return read;
}

inline PropFile* C3gpInterface::Producer() const {
    if (m_uMode == qlip::kModeAudio) return m_pAudioFile;
    if (m_uMode == qlip::kModeVideo) return m_pVideoFile;
    return nullptr;
}

// A single size is everybody's, and the cursor stays on it.
inline void C3gpInterface::AdvanceSampleSize() {
    if (m_SampleSizes.size() > 1 && ++m_itSampleSize == m_SampleSizes.size()) FailAtTableEnd("sample size");
}

// A run comes into force at the first step inside its first chunk, and only if that chunk is met exactly.
// After a seek into a later chunk of a run the cursor waits for a chunk that has passed, and the samples per
// chunk stay as they are to the end of the stream: kept for hosts that were built on it [seek-into-run].
inline void C3gpInterface::AdvanceChunk() {
    if (m_itSampleToChunk < m_SampleToChunk.size() &&
        m_SampleToChunk[m_itSampleToChunk].first_chunk == m_uChunk) {
        m_uSamplesPerChunk = m_SampleToChunk[m_itSampleToChunk++].samples_per_chunk;
        QLIP_LOG_VERBOSE(qlip::kReaderPath,
                         "Moving to next SampleToChunk entry at chunk %d.  New SamplesPerChunk: %d", m_uChunk,
                         m_uSamplesPerChunk);
    }
    if (++m_uSampleOffsetInChunk < m_uSamplesPerChunk) return;
    QLIP_LOG_VERBOSE(qlip::kReaderPath,
                     "Moving to next Chunk entry at sample %d  Current SamplesPerChunk: %d", m_iHintSample,
                     m_uSamplesPerChunk);
    if (++m_itChunkOffset == m_ChunkOffsets.size()) FailAtTableEnd("chunk offset");
    ++m_uChunk;
    m_uSampleOffsetInChunk = 0;
    m_uCurChunkBytes = 0;
}

inline void C3gpInterface::AdvanceTime() {
    if (++m_uTimeToSampleIndex < m_TimeToSample[m_itTimeToSample].sample_count) return;
    QLIP_LOG_VERBOSE(qlip::kReaderPath, "Moving to next TimeToSample entry at sample %d", m_iHintSample);
    if (++m_itTimeToSample == m_TimeToSample.size()) FailAtTableEnd("time to sample");
    m_uTimeToSampleIndex = 0;
}

// As AdvanceToNextHintSample, from a sample that is known to be there.
inline bool C3gpInterface::StepToNextHintSample() {
    if (m_iHintSample >= m_uHintSampleCount) return false;
    ++m_iHintSample;
    m_uCurChunkBytes += m_SampleSizes[m_itSampleSize];
    AdvanceSampleSize();
    AdvanceChunk();
    AdvanceTime();
    const unsigned int low_water = std::min(m_uMediaFilePos, m_uHintFilePos);
    QLIP_LOG_VERBOSE(qlip::kReaderPath, "Moving IO Callback file pointer to: %d", low_water);
    if (m_bIndexedRead)
        IOFileStreamAdvance(m_pIOCallback, low_water);
    else
        qlip::seek_to(m_pIOCallback, low_water);
    return true;
}
