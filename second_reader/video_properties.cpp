// The properties of a video track. Clock and duration are the hint track's, because frame times are; codec,
// frame count and size are the media track's.
#include <cstdint>
#include <numeric>

#include "common/byte_order.h"
#include "common/to_integer.h"
#include "formats/rtp.h"
#include "formats/rtp_hint_sample.h"
#include "qlip/vorn3gp.h"
#include "qlip/wld_native.h"
#include "second_reader/producers/hint_walk.h"
#include "second_reader/producers/reader_view.h"
#include "second_reader/support.h"

using qlip::kReaderPath;
using qlip::required;

namespace {

// Of the first packet; 0 when the hint sample ends before its header does. Extra information that reaches
// further than the hint sample does not hide the type.
unsigned int payload_type(const unsigned char* cursor, const unsigned char* end) {
    if (static_cast<size_t>(end - cursor) < qlip::kHintSampleHeaderBytes + qlip::kHintPacketHeaderBytes)
        return 0;
    _TAG_RTPsample3gp sample;
    PropFile::GetRTPsample3gp(&sample, &cursor);
    if (!qlip::packet_header_fits(cursor, static_cast<size_t>(end - cursor)))
        return qlip::load_be16(cursor + qlip::kHintRtpHeaderAt) & qlip::kRtpTypeMask;
    _TAG_RTPpacket3gp packet;
    PropFile::GetRTPpacket3gp(&packet, &cursor);
    return packet.RTPheader & qlip::kRtpTypeMask;
}

// A duration of 0 gives no usable number.
double bit_rate(double bytes, unsigned int length_ms) {
    return 1000.0 * (bytes * 8.0 / static_cast<double>(length_ms));
}

}  // namespace

void C3gpInterface::ParseVideoBoxes() {
    ParseGenericVideoBoxes();
    ParseCodecSpecificBoxes();
    ParseEditBoxes();
}

void C3gpInterface::ParseGenericVideoBoxes() {
    const auto* mdhd = m_Boxes.m_HintBoxes.m_pMdhd;
    m_uVideoTimescale = mdhd->GetTimescale();
    if (m_uVideoTimescale == 0) {
        m_uStatus = QLIP_CORRUPT_FILE;
        throw SimpleException(kReaderPath, __LINE__, "Undefined video timescale in source file");
    }
    QLIP_LOG_DEBUG(kReaderPath, "Video timescale: %d", m_uVideoTimescale);
    m_uVideoLengthMs = qlip::to_u32(
        1000.0 * (static_cast<double>(mdhd->GetDuration()) / static_cast<double>(m_uVideoTimescale)));
    QLIP_LOG_DEBUG(kReaderPath, "Video duration: %d MS", m_uVideoLengthMs);
}

void C3gpInterface::ParseCodecSpecificBoxes() {
    Vorn3gp::Box* entry = FindVideoEntry();
    const auto* stsz = m_Boxes.m_pStsz;
    m_VideoParams.uCodec = m_uVideoCodec;
    m_VideoParams.uFrameCount = stsz->GetSampleCount();
    QLIP_LOG_DEBUG(kReaderPath, "Video frame count: %d", m_VideoParams.uFrameCount);
    m_VideoParams.dFramesPerSecond = qlip::to_u32(m_VideoParams.uFrameCount / (m_uVideoLengthMs / 1000.0));
    m_VideoParams.uLengthMs = m_uVideoLengthMs;
    m_VideoParams.uBitRate =
        qlip::to_u32(bit_rate(qlip::open_file(m_pSimple3gp)->media_bytes, m_uVideoLengthMs));
    QLIP_LOG_DEBUG(kReaderPath, "Video FPS: %f  Duration: %d  Bitrate: %d", m_VideoParams.dFramesPerSecond,
                   m_VideoParams.uLengthMs, m_VideoParams.uBitRate);
    switch (m_uVideoCodec) {
        case qlip::kCodecH263_1998:
            return ParseH263_1998Boxes(dynamic_cast<Vorn3gp::H263SampleEntry*>(entry));
        case qlip::kCodecH263:
            return ParseH263Boxes(dynamic_cast<Vorn3gp::H263SampleEntry*>(entry));
        case qlip::kCodecMpeg4:
            return ParseMPEG4Boxes(dynamic_cast<Vorn3gp::MP4VisualSampleEntry*>(entry));
        default:
            m_uStatus = QLIP_UNKNOWN_CODER;
            throw SimpleException(kReaderPath, __LINE__, "Unknown / unsuppoorted video codec found");
    }
}

// The first entry of a coder that can be streamed decides; sets m_uVideoCodec.
Vorn3gp::Box* C3gpInterface::FindVideoEntry() {
    m_uVideoCodec = qlip::kCodecNone;
    for (Vorn3gp::Box* entry : required(m_Boxes.m_pStbl->GetStsd(), "stsd", m_uStatus)->GetSampleEntries()) {
        if (entry->GetType() == Vorn3gp::type_word("s263")) {
            m_uVideoCodec = PeekH263Track();
            return entry;
        }
        if (entry->GetType() == Vorn3gp::type_word("mp4v")) {
            m_uVideoCodec = qlip::kCodecMpeg4;
            QLIP_LOG_DEBUG(kReaderPath, "MPEG4 Video codec found");
            return entry;
        }
    }
    return nullptr;
}

// One sample entry type serves two payload formats; the first packet of the hint track tells which. A first
// hint sample that holds no packet names no payload type.
unsigned int C3gpInterface::PeekH263Track() {
    GetCurrentHintSample();
    const qlip::ReaderView view{*this};
    if (payload_type(view.hint_sample(), view.hint_sample_end()) == WLD_TYPE_H263) {
        QLIP_LOG_DEBUG(kReaderPath, "H263 Video codec found");
        return qlip::kCodecH263;
    }
    QLIP_LOG_DEBUG(kReaderPath, "H263_1998 Video codec found");
    return qlip::kCodecH263_1998;
}

void C3gpInterface::ParseH263Boxes(Vorn3gp::H263SampleEntry* pEntry) {
    required(pEntry, "s263", m_uStatus);
    m_VideoParams.uWidth = pEntry->GetWidth();
    m_VideoParams.uHeight = pEntry->GetHeight();
    tagH263_DEC_SPEC specific;
    pEntry->GetH263Specific()->GetH263Specific(&specific);  // an entry that was read has one
    m_VideoParams.uH263Profile = specific.h263_profile;
    m_VideoParams.uH263Level = specific.h263_level;
}

void C3gpInterface::ParseH263_1998Boxes(Vorn3gp::H263SampleEntry* pEntry) {
    ParseH263Boxes(pEntry);
}

// The configuration stays in the tree; the producer copies it while that lives.
void C3gpInterface::ParseMPEG4Boxes(Vorn3gp::MP4VisualSampleEntry* pEntry) {
    required(pEntry, "mp4v", m_uStatus);
    m_VideoParams.uWidth = pEntry->GetWidth();
    m_VideoParams.uHeight = pEntry->GetHeight();
    const auto* info = required(pEntry->GetESDBox(), "esds", m_uStatus)->GetESDInfo();
    m_VideoParams.uConfigSize = info->dsi_size_byte;
    m_VideoParams.pConfig = info->dsi;
}

double qlip::bytes_of_samples(const Vorn3gp::StszBox& stsz) {
    const auto& sizes = stsz.GetChunkSizes();
    return stsz.GetSampleSize() != 0
               ? static_cast<double>(stsz.GetSampleSize() * stsz.GetSampleCount())
               : static_cast<double>(std::accumulate(sizes.begin(), sizes.end(), uint64_t{0}));
}

double C3gpInterface::CalcAvgBitRate(const Vorn3gp::StszBox* pStsz, unsigned int uLengthMs) {
    return bit_rate(qlip::bytes_of_samples(*pStsz), uLengthMs);
}
