// Seeking: a time becomes a hint sample that is fit to start from, and the walking state moves there in the
// last step.
#include <algorithm>

#include "qlip/vorn3gp.h"
#include "second_reader/support.h"

using qlip::kReaderPath;

namespace {

constexpr unsigned int kTimeFlags = 0x30000;
constexpr unsigned int kSyncFlags = 7;
constexpr unsigned int kMsPerSecond = 1000;

bool is_valid(unsigned int time_flag, unsigned int sync_flag) {
    const bool time = time_flag == QLIP_SEEK_FROM_CURRENT || time_flag == QLIP_SEEK_FROM_START;
    return time && (sync_flag == QLIP_SEEK_NEXT_SYNC || sync_flag == QLIP_SEEK_PREVIOUS_SYNC ||
                    sync_flag == QLIP_SEEK_NEAREST_SYNC);
}

}  // namespace

unsigned int C3gpInterface::SeekTo(_TAG_QLIP_SEEK_PARAMS* pParams) {
    m_uStatus = QLIP_SUCCESS;
    if (m_uMode == 0) return m_uStatus = QLIP_NOT_OPEN;
    if (!pParams) return m_uStatus = QLIP_BAD_ARGUMENT;
    qlip::guarded(m_uStatus, m_pSimple3gp, m_pIOCallback,
                  [&] { SeekToSample(pParams, FindSeekSample(*pParams)); });
    return m_uStatus;
}

// The hint sample that a request asks for, from 1.
unsigned int C3gpInterface::FindSeekSample(const _TAG_QLIP_SEEK_PARAMS& Params) {
    const unsigned int time_flag = Params.fFlags & kTimeFlags;
    const unsigned int sync_flag = Params.fFlags & kSyncFlags;
    const unsigned int duration = m_uMode == qlip::kModeAudio ? m_uAudioLengthMs : m_uVideoLengthMs;
    QLIP_LOG_DEBUG(kReaderPath,
                   "C3gpInterface::SeekTo - Validating Parameters (nTime=%d, fFlags=%d, m_iHintSample=%d, "
                   "m_uFrameTime=%d, uTrackDuration=%d).",
                   Params.nTime, Params.fFlags, m_iHintSample, m_uFrameTime, duration);
    if (!is_valid(time_flag, sync_flag)) {
        m_uStatus = QLIP_BAD_SEEK_FLAGS;
        throw SimpleException(kReaderPath, __LINE__, "Illegal Seek Flags");
    }
    const unsigned int target = time_flag == QLIP_SEEK_FROM_START ? Params.nTime : Params.nTime + CurrentMs();
    if (target > duration) FailWithTimestamp();
    const unsigned int sample = ConvertMdhdTimeToSample(ConvertMsTimeToMdhdTime(target));
    if (sample == 0) FailWithTimestamp();
    const unsigned int sync_sample = GetSyncSample(sample, sync_flag);
    if (sync_sample == 0) FailWithTimestamp();
    return sync_sample;
}

unsigned int C3gpInterface::CurrentMs() {
    if (*m_puTimescale < kMsPerSecond) {
        m_uStatus = QLIP_FAILURE;
        throw SimpleException(kReaderPath, __LINE__, "Attempting to Divide by Zero");
    }
    return m_uFrameTime / (*m_puTimescale / kMsPerSecond);
}

void C3gpInterface::FailWithTimestamp() {
    m_uStatus = QLIP_BAD_TIMESTAMP;
    throw SimpleException(kReaderPath, __LINE__, "Invalid Timestamp");
}

void C3gpInterface::SeekToSample(_TAG_QLIP_SEEK_PARAMS* pParams, unsigned int uSample) {
    unsigned int size = 0;
    const unsigned int ms = GetTimestampInMs(uSample);
    const unsigned int hint_offset = CalcHintOffset(uSample, &size);
    RequireOffset(hint_offset, "Hint");
    const unsigned int media_offset = CalcMediaOffset(GetMediaSample(uSample, hint_offset, size));
    // The hint offset again, as a media offset may be unknown. Signed, so that an unknown one is the lower:
    // kept for hosts, which move by it [seek-last-sample-offset].
    RequireOffset(hint_offset, "Media");
    const auto offset =
        static_cast<unsigned int>(std::min(static_cast<int>(media_offset), static_cast<int>(hint_offset)));
    ResetInternals(uSample, offset);
    pParams->nTime = ms;
    pParams->uFrameNum = uSample;
    pParams->uFileOffset = offset;
    QLIP_LOG_DEBUG(kReaderPath,
                   "C3gpInterface::SeekTo - Returning Results (nTime=%d, uFrameNum=%d, uFileOffset=%d).",
                   pParams->nTime, pParams->uFrameNum, pParams->uFileOffset);
}

void C3gpInterface::RequireOffset(unsigned int uOffset, const char* pszTrack) {
    if (static_cast<int>(uOffset) >= 0) return;
    m_uStatus = QLIP_NO_OFFSET;
    throw SimpleException(kReaderPath, __LINE__,
                          "C3gpInterface::SeekTo - Could not calculate %s Track Offset", pszTrack);
}

bool C3gpInterface::ResetInternals(unsigned int uSample, unsigned int uOffset) {
    m_iHintSample = uSample;
    m_uCurChunkBytes = m_uSeekChunkBytes;
    m_uSamplesPerChunk = m_SampleToChunk[m_itSeekSampleToChunk].samples_per_chunk;
    m_uSampleOffsetInChunk = m_uSeekSampleOffsetInChunk;
    m_uChunk = m_uSeekChunk;
    m_uTimeToSampleIndex = m_uSeekTimeToSampleIndex;
    m_uFrameTime = m_uSeekFrameTime;
    QLIP_LOG_DEBUG(kReaderPath,
                   "ResetInternals: cur_hint_sample=%d, cur_chunk_bytes=%d, samples_per_chunk=%d, "
                   "sample_offset_in_chunk=%d, chunk=%d",
                   m_iHintSample, m_uCurChunkBytes, m_uSamplesPerChunk, m_uSampleOffsetInChunk, m_uChunk);
    m_itSampleToChunk = m_itSeekSampleToChunk;
    m_itTimeToSample = m_itSeekTimeToSample;
    if (m_uChunk <= m_ChunkOffsets.size()) m_itChunkOffset = m_uChunk - 1;
    if (uSample <= m_SampleSizes.size()) m_itSampleSize = uSample - 1;
    if (m_pSimple3gp) qlip::open_file(m_pSimple3gp)->start_again();
    Vorn3gp::macro_Seek(m_pIOCallback, uOffset);
    return true;
}
