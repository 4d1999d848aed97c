#include <cstddef>

#include "common/byte_order.h"
#include "common/log.h"
#include "common/to_integer.h"
#include "formats/rtp.h"
#include "qlip/native_stream.h"
#include "qlip/propfile.h"
#include "second_reader/producers/frame_buffer.h"
#include "second_reader/producers/hint_walk.h"
#include "second_reader/producers/video_header.h"
#include "second_reader/producers/video_texts.h"

namespace {

constexpr const char* kPath = qlip::kVideoTexts.path;

void store_word(PropFileVideo& file, unsigned int offset, unsigned int value) {
    qlip::store_le32(file.m_pBuffer + offset, value);
}

void store_frame_size(PropFileVideo& file, unsigned int size) {
    store_word(file, file.m_uFrameHeaderOffset + offsetof(wld_frame_record, frame_size), size);
}

// The record's second word is not the timestamp again, as the record's name for it says, but its distance
// from the first frame's. Neither that nor the frame count is touched by a seek, so the distance can wrap.
void write_packet_record(PropFileVideo& file, unsigned int start, const _TAG_RTPpacket3gp& packet,
                         unsigned int timestamp) {
    wld_packet_record record;
    record.size = file.m_uPacketPayloadOffset;
    record.rtp_word =
        static_cast<unsigned int>(packet.RTPheader) << 16 | packet.RTPsequenceseed | qlip::kRtpVersionWord;
    record.timestamp2 = timestamp;
    if (file.m_uFrameCount == 1) file.m_uFirstTimestamp = record.timestamp2;
    record.timestamp = record.timestamp2 - file.m_uFirstTimestamp;
    record.reserved = 0;
    qlip::put_record(file.m_pBuffer + start, record);
}

// Result: `size` of the packet's record.
unsigned int append_packet(PropFileVideo& file, qlip::HintEnd end, const unsigned char** cursor,
                           unsigned int timestamp) {
    const unsigned int start = file.m_uLength;
    _TAG_RTPpacket3gp packet;
    qlip::require_room(file, file.m_uPacketPayloadOffset, file.m_uBufferBytes);
    qlip::read_packet_header(file, end, &packet, cursor);
    write_packet_record(file, start + file.m_uPacketHeaderOffset, packet, timestamp);
    file.m_uLength += file.m_uPacketPayloadOffset;
    unsigned int size = file.m_uPacketPayloadOffset;
    for (unsigned int entry = 0; entry < packet.entrycount; ++entry) {
        const unsigned char kind = qlip::read_constructor_kind(file, end, cursor, kPath);
        size += qlip::run_constructor(file, kind, cursor);
        store_word(file, start + offsetof(wld_packet_record, size), size);
    }
    return size;
}

unsigned int ticks(double seconds) {
    return qlip::to_u32(qlip::kVideoClock * seconds);
}

// Appends the frame's padding; returns the whole size.
unsigned int pad_frame(PropFileVideo& file, unsigned int size) {
    const unsigned int padding = file.GetPadding(size);
    size += padding;
    store_word(file, file.m_uFrameHeaderOffset + offsetof(wld_frame_record, frame_pad), padding);
    store_frame_size(file, size);
    QLIP_LOG_VERBOSE(kPath, "FrameSize: %d  FramePad: %d\n", size, padding);
    qlip::require_room(file, padding, file.m_uBufferBytes);
    std::memset(file.m_pBuffer + file.m_uLength, 0, padding);
    file.m_uLength += padding;
    return size;
}

void begin_frame(PropFileVideo& file, qlip::HintEnd end, const unsigned char** cursor,
                 _TAG_RTPsample3gp* sample) {
    qlip::require_room(file, file.m_uFramePacketsOffset, file.m_uBufferBytes);
    store_frame_size(file, file.m_uFramePacketsOffset);
    store_word(file, file.m_uFrameWord4Offset, 4);
    store_word(file, file.m_uFrameZeroWordOffset, 0);
    qlip::read_sample_header(file, end, sample, cursor);
    store_word(file, file.m_uFrameHeaderOffset + offsetof(wld_frame_record, packet_count),
               sample->packetcount);
    file.m_uLength = file.m_uFramePacketsOffset;
}

void build_frame(PropFileVideo& file, const unsigned char* hint_sample, double seconds) {
    const unsigned char* cursor = hint_sample;
    _TAG_RTPsample3gp sample;
    const qlip::HintEnd end(file, cursor);
    begin_frame(file, end, &cursor, &sample);
    const unsigned int timestamp = ticks(seconds);
    unsigned int size = file.m_uFramePacketsOffset;
    for (unsigned int packet = 1; packet <= sample.packetcount; ++packet) {
        QLIP_LOG_VERBOSE(kPath, "---Packet %d---\n", packet);
        size += append_packet(file, end, &cursor, timestamp);
        store_frame_size(file, size);
    }
    pad_frame(file, size);
    QLIP_LOG_VERBOSE(kPath, "Parsed %d bytes from the hint track\n", static_cast<int>(cursor - hint_sample));
}

}  // namespace

PropFileVideo::PropFileVideo(C3gpInterface* pInterface) : PropFile(pInterface) {}

PropFileVideo::~PropFileVideo() = default;

void PropFileVideo::FillOffsetTable() {
    m_uPropHeaderOffset = 0;
    m_uNtsInfoOffset = m_uPropHeaderOffset + sizeof(PROP_Header_Info);
    m_uIndexInfoOffset = m_uNtsInfoOffset + sizeof(VID_Header_NTSInfo);
    m_uCodecInfoOffset = m_uIndexInfoOffset + sizeof(VID_Header_IndxInfo);
    m_uCodecConfigOffset = m_uCodecInfoOffset + sizeof(VID_Header_CodecInfo);
    m_uFileInfoOffset = m_uCodecConfigOffset + GetCodecHeaderSize();
    m_uFrameHeaderOffset = 0;
    m_uFrameWord4Offset = m_uFrameHeaderOffset + sizeof(wld_frame_record);
    m_uFrameZeroWordOffset = m_uFrameWord4Offset + offsetof(wld_frame_prefix, word_one);
    m_uFramePacketsOffset = m_uFrameWord4Offset + sizeof(wld_frame_prefix);
    m_uPacketHeaderOffset = 0;
    m_uPacketZeroWordOffset = m_uPacketHeaderOffset + offsetof(wld_packet_record, reserved);
    m_uPacketPayloadOffset = m_uPacketHeaderOffset + sizeof(wld_packet_record);
}

bool PropFileVideo::Open(_TAG_VIDEO_OPEN_PARAMS* pParams) {
    m_uBufferBytes = pParams->uMaxFrameBytes;
    FillOffsetTable();
    AllocBuffers();
    const unsigned int header_size = qlip::write_video_header(*this, *pParams);
    SetupCodecHeaders(pParams);
    m_uLength = header_size;
    return true;
}

void PropFileVideo::Close() {
    FreeBuffers();
}

void PropFileVideo::AllocBuffers() {
    qlip::allocate_frame_buffer(*this, m_uBufferBytes, qlip::kVideoTexts);
}

void PropFileVideo::PacketizeFrame(const unsigned char* pHintSample, double dTime) {
    m_uOffset = 0;
    m_uLength = 0;
    ++m_uFrameCount;
    try {
        build_frame(*this, pHintSample, dTime);
    } catch (...) {
        qlip::settle_frame_failure(*this, qlip::kVideoTexts);
    }
}

unsigned int PropFileVideo::ProcessPacket(const unsigned char** ppCursor, double dTime) {
    return append_packet(*this, qlip::HintEnd(*this, *ppCursor), ppCursor, ticks(dTime));
}

unsigned int PropFileVideo::ProcessRTPimmediateconstructor(const unsigned char** ppCursor) {
    return qlip::append_immediate(*this, ppCursor, m_uBufferBytes);
}

unsigned int PropFileVideo::ProcessRTPsampleconstructor(const unsigned char** ppCursor) {
    return qlip::append_media_sample(*this, ppCursor, m_uBufferBytes);
}

unsigned int PropFileVideo::ProcessRTPsampledescriptionconstructor(const unsigned char** ppCursor) {
    return qlip::skip_sample_description(ppCursor);
}
