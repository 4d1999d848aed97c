// What every step of the walk asks before it touches the buffers and tables. Inline: it is asked for each
// sample.
#pragma once

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
