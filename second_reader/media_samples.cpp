// Media samples, fetched on behalf of the producers. One is held, so that the packets of a frame cost one
// read.
#include "second_reader/producers/control_signals.h"
#include "second_reader/walking.h"

using qlip::kReaderPath;

// A read that came back short leaves the number of the sample held as it was, although the buffer has
// changed: kept for hosts, which see no further read [short-indexed-read].
unsigned int C3gpInterface::GetMediaSample(unsigned int uSample) {
    if (uSample - 1 >= m_uMediaSampleCount) RefuseMediaSample(uSample);
    RequireBuffers();
    const _TAG_SAMPLEINFO& sample = m_pSampleInfo[uSample - 1];
    if (uSample == m_uCachedMediaSample) return sample.uSize;
    m_uMediaFilePos = sample.uOffset;
    QLIP_LOG_VERBOSE(kReaderPath, "Frame %-4d: Media sample %-4d: Retrieving media sample from offset %d",
                     m_iHintSample, uSample, m_uMediaFilePos);
    const unsigned int read = ReadSample(m_pMediaBuffer, sample.uSize, sample.uOffset);
    m_uMediaFilePos += read;
    if (read == sample.uSize) m_uCachedMediaSample = uSample;
    return read;
}

void C3gpInterface::RefuseMediaSample(unsigned int uSample) const {
    QLIP_LOG_FAULT(Faults(), qlip::Fault::MediaNumber, kReaderPath,
                   "Invalid media sample %d requested. Only %d samples in file", uSample,
                   m_uMediaSampleCount);
    throw qlip::kBadHintContent;
}

unsigned int C3gpInterface::GetMediaSample(unsigned int uSample, const unsigned char** ppData) {
    *ppData = m_pMediaBuffer;
    return GetMediaSample(uSample);
}
