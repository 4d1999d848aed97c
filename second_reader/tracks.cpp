// Choosing the track and its hint track, and copying the tables that streaming needs out of the box tree.
#include <algorithm>
#include <utility>

#include "qlip/vorn3gp.h"
#include "second_reader/support.h"

using qlip::kReaderPath;
using qlip::required;

namespace {

constexpr size_t kAllowedTracks = 1;

}  // namespace

void C3gpInterface::ValidateTracks() {
    const bool audio = m_uMode == qlip::kModeAudio;
    const TrackMap& tracks = audio ? m_AudioTracks : m_VideoTracks;
    const char* kind = audio ? "audio" : "video";
    m_puTimescale = audio ? &m_uAudioTimescale : &m_uVideoTimescale;
    if (tracks.size() > kAllowedTracks) {
        m_uStatus = QLIP_TOO_MANY_TRACKS;
        throw SimpleException(kReaderPath, __LINE__, "Too many %s tracks found", kind);
    }
    if (tracks.empty()) FailWithoutTrack(kind);
    const auto& [id, trak] = *tracks.begin();
    QLIP_LOG_DEBUG(kReaderPath, "%s track ID: %d", kind, id);
    const auto hint = m_HintTracks.find(id);
    if (hint == m_HintTracks.end()) {
        m_uStatus = QLIP_HINT_TRACK_REQUIRED;
        throw SimpleException(kReaderPath, __LINE__, "%s track ID %d does not have a hint track.", kind, id);
    }
    // Entries of a file that was open before point to nothing.
    if (!trak || !hint->second) FailWithoutTrack(kind);
    GetTrakData(&m_Boxes, trak);
    GetTrakData(&m_Boxes.m_HintBoxes, hint->second);
}

void C3gpInterface::FailWithoutTrack(const char* pszKind) {
    m_uStatus = QLIP_NO_SUCH_TRACK;
    throw SimpleException(kReaderPath, __LINE__, "File does not contain %s track", pszKind);
}

void C3gpInterface::GetTrakData(BaseBoxes* pBoxes, const Vorn3gp::TrakBox* pTrak) {
    pBoxes->BaseBoxes::Reset();
    const auto* mdia = required(pTrak->GetMdia(), "mdia", m_uStatus);
    const auto* minf = required(mdia->GetMinf(), "minf", m_uStatus);
    pBoxes->m_pMdhd = required(mdia->GetMdhd(), "mdhd", m_uStatus);
    pBoxes->m_pStbl = required(minf->GetStbl(), "stbl", m_uStatus);
    pBoxes->m_pStts = required(pBoxes->m_pStbl->GetStts(), "stts", m_uStatus);
    pBoxes->m_pStsz = required(pBoxes->m_pStbl->GetStsz(), "stsz", m_uStatus);
    pBoxes->m_pStsc = required(pBoxes->m_pStbl->GetStsc(), "stsc", m_uStatus);
    pBoxes->m_pStco = required(pBoxes->m_pStbl->GetStco(), "stco", m_uStatus);
    pBoxes->m_pStss = pBoxes->m_pStbl->GetStss();
    if (const auto* edts = pTrak->GetEdts()) pBoxes->m_pElst = edts->GetElst();
}

// The tables of the hint track move out of the tree: they are as large as the rest of it, and nothing looks
// for them there again.
void C3gpInterface::StoreTrackTables() {
    BaseBoxes& hint = m_Boxes.m_HintBoxes;
    m_ChunkOffsets = std::move(hint.m_pStco->chunk_offsets);
    m_SampleToChunk = std::move(hint.m_pStsc->sample_entries);
    // One element stands for all samples of one size. It is appended, so that an object opened before has one
    // more: kept for hosts that open one again [object-opened-again].
    if (hint.m_pStsz->GetSampleSize() == 0)
        m_SampleSizes = std::move(hint.m_pStsz->chunk_sizes);
    else
        m_SampleSizes.push_back(hint.m_pStsz->GetSampleSize());
    m_TimeToSample = std::move(hint.m_pStts->sample_entries);
    m_itChunkOffset = m_itSampleToChunk = m_itSampleSize = m_itTimeToSample = 0;
    m_itSeekSampleToChunk = m_itSeekTimeToSample = 0;
    m_uSamplesPerChunk = 0;

    m_uMediaSampleCount = m_Boxes.m_pStsz->GetSampleCount();
    m_uHintSampleCount = hint.m_pStsz->GetSampleCount();
    QLIP_LOG_DEBUG(kReaderPath, "Found %d media samples and %d hint samples", m_uMediaSampleCount,
                   m_uHintSampleCount);
    m_uChunkCount = static_cast<unsigned int>(m_ChunkOffsets.size());
    if (!hint.m_pStss) return;
    m_bHasStss = true;
    m_SyncSamples = std::move(hint.m_pStss->sync_samples);
    m_itSyncSample = 0;
}

// Runs may promise more samples than there are: the count decides.
void C3gpInterface::CalcSampleOffsets(const BaseBoxes* pBoxes, _TAG_SAMPLEINFO* pInfo) {
    const auto& runs = pBoxes->m_pStsc->GetSampleEntries();
    const auto& sizes = pBoxes->m_pStsz->GetChunkSizes();
    const unsigned int fixed_size = pBoxes->m_pStsz->GetSampleSize();
    const unsigned int count = pBoxes->m_pStsz->GetSampleCount();
    auto run = runs.begin();
    unsigned int sample = 0;
    unsigned int chunks = 0;
    unsigned int samples_per_chunk = 1;
    for (unsigned int position : pBoxes->m_pStco->GetChunkOffsets()) {
        if (run != runs.end() && chunks + 1 == run->first_chunk)
            samples_per_chunk = (run++)->samples_per_chunk;
        const unsigned int last = sample + std::min(samples_per_chunk, count - sample);
        for (; sample < last; ++sample) {
            pInfo[sample] = {position, fixed_size != 0 ? fixed_size : sizes.at(sample)};
            position += pInfo[sample].uSize;
        }
        ++chunks;
    }
    QLIP_LOG_DEBUG(kReaderPath, "Chunks counted: %d  Samples counted: %d", chunks, sample);
}

void C3gpInterface::CalcTimeDeltas(const BaseBoxes* pBoxes, unsigned int* puDeltas) {
    unsigned int left = pBoxes->m_pStsz->GetSampleCount();
    for (const auto& run : pBoxes->m_pStts->GetSampleEntries()) {
        for (unsigned int i = 0; i < run.sample_count && left > 0; ++i, --left)
            *puDeltas++ = run.sample_delta;
    }
}
