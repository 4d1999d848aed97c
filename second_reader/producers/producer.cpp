#include <cstdint>

#include "common/byte_order.h"
#include "common/log.h"
#include "common/padding.h"
#include "common/to_integer.h"
#include "formats/rtp.h"
#include "formats/rtp_hint_sample.h"
#include "qlip/propfile.h"
#include "second_reader/producers/frame_buffer.h"
#include "second_reader/producers/hint_dump.h"
#include "second_reader/producers/hint_walk.h"

void qlip::dump_sample_header(unsigned int packets) {
    QLIP_DUMP("packetcount: %d\n", packets);
}

void qlip::dump_packet_header(const unsigned char* header) {
    const unsigned int rtp = load_be16(header + kHintRtpHeaderAt);
    const unsigned int flags = load_be16(header + kHintFlagsAt);
    QLIP_DUMP(
        "relative_time(32):       0x%08X\nRTPheader(16):           0x%04X\n  P_bit:                 0x%01X\n"
        "  X_bit:                 0x%01X\n  M_bit:                 0x%01X\n  payload_type:          0x%02X\n",
        load_be32(header), rtp, rtp >> 13 & 1, rtp >> 12 & 1, rtp >> 7 & 1, rtp & kRtpTypeMask);
    QLIP_DUMP(
        "RTPsequenceseed(16):     0x%04X\nRTPflags(16):            0x%04X\n  extra_flag:            0x%01X\n"
        "  bframe_flag:           0x%01X\n  repeat_flag:           0x%01X\nentrycount(16):          %d\n",
        load_be16(header + kHintSequenceSeedAt), flags, flags >> 2 & 1, flags >> 1 & 1, flags & 1,
        load_be16(header + kHintEntryCountAt));
    if (flags & kHintExtraInformation)
        QLIP_DUMP("extra_information_length(32): %d\n", load_be32(header + kHintPacketHeaderBytes));
}

PropFile::PropFile(C3gpInterface* pInterface)
    : m_pBuffer(nullptr), m_uLength(0), m_uOffset(0), m_uFrameCount(0), m_pInterface(pInterface) {}

PropFile::~PropFile() {
    FreeBuffers();
}

unsigned int PropFile::ProcessRTPnoopconstructor(const unsigned char** ppCursor) {
    QLIP_DUMP("RTPnoopconstructor\n");
    *ppCursor += qlip::kBehindConstructorKind;
    return 0;
}

unsigned char PropFile::GetAndAdvance8(const unsigned char** ppCursor) {
    return *(*ppCursor)++;
}

unsigned short PropFile::GetAndAdvance16(const unsigned char** ppCursor) {
    const unsigned short value = qlip::load_be16(*ppCursor);
    *ppCursor += sizeof value;
    return value;
}

unsigned int PropFile::GetAndAdvance32(const unsigned char** ppCursor) {
    const unsigned int value = qlip::load_be32(*ppCursor);
    *ppCursor += sizeof value;
    return value;
}

void PropFile::GetRTPsample3gp(_TAG_RTPsample3gp* pSample, const unsigned char** ppCursor) {
    qlip::parse_sample_header(pSample, ppCursor);
}

void PropFile::GetRTPpacket3gp(_TAG_RTPpacket3gp* pPacket, const unsigned char** ppCursor) {
    qlip::parse_packet_header(pPacket, ppCursor);
}

unsigned int PropFile::GetPadding(unsigned int uSize) {
    const unsigned int padding = ::GetPadding(uSize);
    QLIP_LOG_VERBOSE(qlip::kBasePath, "Padding size: %d", padding);
    return padding;
}

// The low half counts hundredths, not 65536ths as the name promises: kept for readers of the stream
// [hundredths].
unsigned int PropFile::To1616(double dValue) {
    const int32_t hundredths = qlip::to_i32(0.5 + dValue * 100.0);
    return static_cast<uint32_t>(hundredths / 100) << 16 | static_cast<uint16_t>(hundredths % 100);
}

unsigned int PropFile::ByteCount() {
    return qlip::waiting_bytes(*this);
}

unsigned char* PropFile::GetBuffer(unsigned int* puAvail) {
    if (puAvail) *puAvail = ByteCount();
    return m_pBuffer + m_uOffset;
}

void PropFile::OffsetBytes(unsigned int uBytes) {
    qlip::mark_read(*this, uBytes);
}

void PropFile::FreeBuffers() {
    m_uLength = 0;
    m_uOffset = 0;
    delete[] m_pBuffer;
    m_pBuffer = nullptr;
}
