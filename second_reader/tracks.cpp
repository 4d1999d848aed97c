// Choosing the track and its hint track, and copying the tables that streaming needs out of the box tree.
#include <algorithm>
#include <cstring>
#include <utility>

#include "common/byte_order.h"
#include "qlip/vorn3gp.h"
#include "second_reader/support.h"

using qlip::kReaderPath;
using qlip::required;

namespace {

constexpr size_t kAllowedTracks = 1;

// The table of sizes is as large as half the table of places that is made from it, and need not live beside
// it: the sizes wait in its second half, where each is read before its own place is written over it.
template <class Place>
unsigned char* waiting_sizes(Place* places, unsigned int count) {
    static_assert(sizeof(Place) == 2 * sizeof(unsigned int));
    return reinterpret_cast<unsigned char*>(places) + size_t{count} * sizeof(unsigned int);
}

template <class Place>
void stage(std::vector<unsigned int> sizes, Place* places, unsigned int count) {
    sizes.resize(count);
    if (count > 0) std::memcpy(waiting_sizes(places, count), sizes.data(), count * sizeof(unsigned int));
}

template <class Place>
unsigned int staged(Place* places, unsigned int count, unsigned int sample) {
    return qlip::load_le32(waiting_sizes(places, count) + size_t{sample} * sizeof(unsigned int));
}

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

// Runs may promise more samples than there are: the count decides. Samples in no chunk have no bytes.
void C3gpInterface::CalcSampleOffsets(const BaseBoxes* pBoxes, _TAG_SAMPLEINFO* pInfo) {
    const unsigned int count = pBoxes->m_pStsz->GetSampleCount();
    const unsigned int fixed_size = pBoxes->m_pStsz->GetSampleSize();
    if (fixed_size == 0) stage(std::exchange(pBoxes->m_pStsz->chunk_sizes, {}), pInfo, count);
    const auto& runs = pBoxes->m_pStsc->GetSampleEntries();
    auto run = runs.begin();
    unsigned int sample = 0;
    unsigned int chunks = 0;
    unsigned int samples_per_chunk = 1;
    for (unsigned int position : pBoxes->m_pStco->GetChunkOffsets()) {
        if (run != runs.end() && chunks + 1 == run->first_chunk)
            samples_per_chunk = (run++)->samples_per_chunk;
        const unsigned int last = sample + std::min(samples_per_chunk, count - sample);
        for (; sample < last; ++sample) {
            pInfo[sample] = {position, fixed_size != 0 ? fixed_size : staged(pInfo, count, sample)};
            position += pInfo[sample].uSize;
        }
        ++chunks;
    }
    std::fill(pInfo + sample, pInfo + count, _TAG_SAMPLEINFO{});
    QLIP_LOG_DEBUG(kReaderPath, "Chunks counted: %d  Samples counted: %d", chunks, sample);
}

void C3gpInterface::CalcTimeDeltas(const BaseBoxes* pBoxes, unsigned int* puDeltas) {
    unsigned int left = pBoxes->m_pStsz->GetSampleCount();
    for (const auto& run : pBoxes->m_pStts->GetSampleEntries()) {
        for (unsigned int i = 0; i < run.sample_count && left > 0; ++i, --left)
            *puDeltas++ = run.sample_delta;
    }
}
