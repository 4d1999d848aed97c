#include <cmath>
#include <cstddef>

#include "common/byte_order.h"
#include "common/log.h"
#include "common/to_integer.h"
#include "formats/amr.h"
#include "formats/native_header.h"
#include "qlip/native_stream.h"
#include "qlip/propfile.h"
#include "second_reader/producers/control_signals.h"
#include "second_reader/producers/frame_buffer.h"
#include "second_reader/producers/hint_walk.h"

namespace {

constexpr unsigned int kFrameBytes = 1568;

constexpr qlip::ProducerTexts kTexts{
    "propfile/src/propfile_audio", "audio", "Audio",
    "caught unexpected UInt32 exception from ProcessPacket(). Rethrowing..."};

unsigned char* frame_field(PropFileAudio& file, size_t offset) {
    return file.m_pBuffer + file.m_uFrameHeaderOffset + offset;
}

void write_stream_header(PropFileAudio& file, const _TAG_AUDIO_OPEN_PARAMS& params) {
    const unsigned int padding = file.GetPadding(qlip::kAudioHeaderBytes);
    PROP_Header_Info prop{
        {}, qlip::kAudioHeaderBytes + padding, qlip::kStreamVersion, padding, params.uFrameCount};
    std::memcpy(prop.type, pType, sizeof prop.type);
    const auto bit_rate = static_cast<int>(params.uBitRate);
    const AUD_Codec_Header codec{sizeof codec, static_cast<unsigned int>(GetAMRCoding(bit_rate)),
                                 SampleRateHZ_to_MM(params.uSampleRate),
                                 static_cast<unsigned int>(GetAMRBitsPerSample(bit_rate))};
    qlip::put_record(file.m_pBuffer + file.m_uPropHeaderOffset, prop);
    qlip::put_record(file.m_pBuffer + file.m_uCodecHeaderOffset, codec);
    qlip::put_record(file.m_pBuffer + file.m_uIndexInfoOffset, AUD_Header_IndxInfo{});
    qlip::put_record(file.m_pBuffer + file.m_uFileInfoOffset, VID_FileInfo{params.uLengthMs, {}});
    file.m_uLength = prop.header_size;
}

// The time is rounded to a whole millisecond before it becomes clock ticks. A conversion truncates, which
// from 0 on is what `floor` does.
unsigned int ticks(double seconds, unsigned int sample_rate) {
    const double rounded = 0.5 + seconds * 1000.0;
    const double milliseconds = qlip::to_u32(rounded >= 0.0 ? rounded : std::floor(rounded));
    return qlip::to_u32(sample_rate / 1000.0 * milliseconds);
}

// All but `size` and the talk spurt flag; of several packets the last one's values stay.
void write_frame_header(PropFileAudio& file, unsigned int sequence, unsigned int timestamp) {
    unsigned char* const header = frame_field(file, 0);
    qlip::store_le32(header + offsetof(AUD_AudFrame_Native, frame_word), file.m_uCoder);
    qlip::store_le32(header + offsetof(AUD_AudFrame_Native, timestamp), timestamp);
    qlip::store_le32(header + offsetof(AUD_AudFrame_Native, timestamp2), timestamp);
    qlip::store_le16(header + offsetof(AUD_AudFrame_Native, sequence), static_cast<uint16_t>(sequence));
}

// A constructor with bad content costs its own bytes; the frame goes on with the next one.
unsigned int run_forgivingly(PropFileAudio& file, unsigned char kind, const unsigned char** cursor) {
    try {
        return qlip::run_constructor(file, kind, cursor);
    } catch (unsigned int signal) {
        if (signal != qlip::kBadHintContent) {
            qlip::log_rethrowing(file, kTexts);
            throw;
        }
        QLIP_LOG_VERBOSE(kTexts.path, "Dropped Hint Track Sample due to invalid content");
        return 0;
    }
}

// The AMR frame type in the table of contents entry, the second payload byte (RFC 4867 4.3.2). The byte is
// read even if the packet delivered fewer than two: then it is what the buffer held, or 0 behind its end.
unsigned int frame_type(const PropFileAudio& file, unsigned int payload_start) {
    const unsigned int entry = payload_start + 1;
    return entry < kFrameBytes ? qlip::amr_storage_type(file.m_pBuffer[entry]) : 0;
}

// Flags speech that starts again after a no-data frame.
void mark_talk_spurt(PropFileAudio& file, unsigned int payload_start) {
    const unsigned int type = frame_type(file, payload_start);
    const bool starts = type != qlip::kAmrNoData && file.m_uLastFrameType == qlip::kAmrNoData;
    qlip::store_le16(frame_field(file, offsetof(AUD_AudFrame_Native, reserved)), starts);
    file.m_uLastFrameType = type;
}

// Result: payload bytes.
unsigned int append_packet(PropFileAudio& file, qlip::HintEnd end, const unsigned char** cursor,
                           unsigned int timestamp) {
    const unsigned int payload_start = file.m_uLength;
    _TAG_RTPpacket3gp packet;
    qlip::read_packet_header(file, end, &packet, cursor);
    write_frame_header(file, packet.RTPsequenceseed, timestamp);
    unsigned int bytes = 0;
    for (unsigned int entry = 0; entry < packet.entrycount; ++entry) {
        const unsigned char kind = qlip::read_constructor_kind(file, end, cursor, kTexts.path);
        bytes += run_forgivingly(file, kind, cursor);
    }
    mark_talk_spurt(file, payload_start);
    QLIP_LOG_VERBOSE(kTexts.path, "Packet contains %d bytes", bytes);
    return bytes;
}

void build_frame(PropFileAudio& file, const unsigned char* hint_sample, double seconds) {
    const unsigned char* cursor = hint_sample;
    _TAG_RTPsample3gp sample;
    qlip::require_room(file, file.m_uFramePayloadOffset, kFrameBytes);
    const qlip::HintEnd end(file, cursor);
    qlip::read_sample_header(file, end, &sample, &cursor);
    unsigned int size = file.m_uFramePayloadOffset;
    qlip::store_le32(frame_field(file, offsetof(AUD_AudFrame_Native, size)), size);
    qlip::store_le32(file.m_pBuffer + file.m_uFrameZeroWordOffset, 0);
    file.m_uLength = size;
    const unsigned int timestamp = ticks(seconds, file.m_uSampleRate);
    for (unsigned int packet = 1; packet <= sample.packetcount; ++packet) {
        QLIP_LOG_VERBOSE(kTexts.path, "---Packet %d---\n", packet);
        size += append_packet(file, end, &cursor, timestamp);
        qlip::store_le32(frame_field(file, offsetof(AUD_AudFrame_Native, size)), size);
    }
    QLIP_LOG_VERBOSE(kTexts.path, "Parsed %d bytes from the hint track.  Audio Framesize: %d\n",
                     static_cast<int>(cursor - hint_sample), size);
}

}  // namespace

PropFileAudio::PropFileAudio(C3gpInterface* pInterface) : PropFile(pInterface) {}

PropFileAudio::~PropFileAudio() = default;

void PropFileAudio::FillOffsetTable() {
    m_uPropHeaderOffset = 0;
    m_uCodecHeaderOffset = m_uPropHeaderOffset + sizeof(PROP_Header_Info);
    m_uIndexInfoOffset = m_uCodecHeaderOffset + sizeof(AUD_Codec_Header);
    m_uFileInfoOffset = m_uIndexInfoOffset + sizeof(AUD_Header_IndxInfo);
    m_uFrameHeaderOffset = 0;
    m_uFrameZeroWordOffset = m_uFrameHeaderOffset + sizeof(AUD_AudFrame_Native);
    m_uFramePayloadOffset = m_uFrameZeroWordOffset + sizeof(unsigned int);
}

bool PropFileAudio::Open(_TAG_AUDIO_OPEN_PARAMS* pParams) {
    FillOffsetTable();
    AllocBuffers();
    m_uCoder = pParams->uCoder;
    m_uSampleRate = pParams->uSampleRate;
    write_stream_header(*this, *pParams);
    return true;
}

void PropFileAudio::Close() {
    FreeBuffers();
}

void PropFileAudio::AllocBuffers() {
    qlip::allocate_frame_buffer(*this, kFrameBytes, kTexts);
}

void PropFileAudio::PacketizeFrame(const unsigned char* pHintSample, double dTime) {
    const unsigned int last_frame_type = m_uLastFrameType;
    m_uOffset = 0;
    m_uLength = 0;
    try {
        build_frame(*this, pHintSample, dTime);
    } catch (...) {
        qlip::settle_frame_failure(*this, kTexts);
        m_uLastFrameType = last_frame_type;
    }
}

unsigned int PropFileAudio::ProcessPacket(const unsigned char** ppCursor, double dTime) {
    return append_packet(*this, qlip::HintEnd(*this, *ppCursor), ppCursor, ticks(dTime, m_uSampleRate));
}

unsigned int PropFileAudio::ProcessRTPimmediateconstructor(const unsigned char** ppCursor) {
    return qlip::append_immediate(*this, ppCursor, kFrameBytes);
}

unsigned int PropFileAudio::ProcessRTPsampleconstructor(const unsigned char** ppCursor) {
    return qlip::append_media_sample(*this, ppCursor, kFrameBytes);
}

unsigned int PropFileAudio::ProcessRTPsampledescriptionconstructor(const unsigned char** ppCursor) {
    return qlip::skip_sample_description(ppCursor);
}

int GetAMRCoding(int iBitRate) {
    int coding = qlip::kFirstNarrowbandCoding;
    for (const int rate : qlip::kAmrBitRates) {
        if (rate == iBitRate) return coding;
        ++coding;
    }
    return 0;
}

// In units of 125 Hz, for these three rates only: kept for readers of the stream [known-rates].
unsigned int SampleRateHZ_to_MM(unsigned int uRate) {
    const bool known = uRate == 6000 || uRate == 8000 || uRate == 11000;
    return known ? uRate / qlip::kRateUnit : 0;
}

int GetAMRBitsPerSample(int /*iBitRate*/) {
    return 0;
}
