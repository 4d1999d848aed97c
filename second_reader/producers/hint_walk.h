// Walking an RTP hint sample (ISO/IEC 14496-12, RTP hint track format) without leaving it, and the
// constructors that audio and video producers handle alike.
//
// Nothing in a hint sample can be trusted to stay inside it. Where it does not, the functions throw
// kBadHintContent.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/byte_order.h"
#include "common/log.h"
#include "formats/rtp_hint_sample.h"
#include "qlip/propfile.h"
#include "second_reader/producers/reader_view.h"

namespace qlip {

// Where the hint sample ends that a cursor stands in: found once for all that is read of it. The reader knows
// the end of its own; bytes that a caller brought along have no known end.
class HintEnd {
  public:
    HintEnd(const PropFile& file, const unsigned char* cursor) {
        if (!file.m_pInterface) return;
        const ReaderView reader{*file.m_pInterface};
        const auto begin = address(reader.hint_sample());
        const auto end = address(reader.hint_sample_end());
        if (begin != 0 && address(cursor) >= begin && address(cursor) <= end) end_ = end;
    }

    size_t left(const unsigned char* cursor) const { return end_ - address(cursor); }

  private:
    static uintptr_t address(const unsigned char* byte) { return reinterpret_cast<uintptr_t>(byte); }

    uintptr_t end_ = UINTPTR_MAX;
};

[[noreturn, gnu::cold]] void refuse_truncated(const PropFile& file);

// Whether a packet's header, with its extra information, lies within the `left` bytes at the cursor.
bool extra_information_fits(const unsigned char* cursor, size_t left);
inline bool packet_header_fits(const unsigned char* cursor, size_t left) {
    if (left < kHintPacketHeaderBytes) return false;
    return !(load_be16(cursor + kHintFlagsAt) & kHintExtraInformation) ||
           extra_information_fits(cursor, left);
}

// What PropFile's GetRTPsample3gp and GetRTPpacket3gp do.
[[gnu::cold]] void dump_sample_header(unsigned int packets);
inline void parse_sample_header(_TAG_RTPsample3gp* sample, const unsigned char** cursor) {
    sample->packetcount = load_be16(*cursor);
    sample->reserved = load_be16(*cursor + sizeof sample->packetcount);
    *cursor += kHintSampleHeaderBytes;
    if (sx_Debug > 4) dump_sample_header(sample->packetcount);
}
[[gnu::cold]] void dump_packet_header(const unsigned char* header);
inline void parse_packet_header(_TAG_RTPpacket3gp* packet, const unsigned char** cursor) {
    const unsigned char* const header = *cursor;
    const unsigned char* at = header;
    packet->relative_time = load_be32(at);
    packet->RTPheader = load_be16(at + kHintRtpHeaderAt);
    packet->RTPsequenceseed = load_be16(at + kHintSequenceSeedAt);
    packet->RTPflags = load_be16(at + kHintFlagsAt);
    packet->entrycount = load_be16(at + kHintEntryCountAt);
    packet->extra_information_length = 0;
    at += kHintPacketHeaderBytes;
    if (packet->RTPflags & kHintExtraInformation) {
        packet->extra_information_length = load_be32(at);
        at += kHintExtraLengthBytes;
        at += packet->extra_information_length - kHintExtraLengthBytes;
    }
    *cursor = at;
    if (sx_Debug > 4) dump_packet_header(header);
}

// The headers; the cursor ends behind them.
inline void read_sample_header(const PropFile& file, HintEnd end, _TAG_RTPsample3gp* sample,
                               const unsigned char** cursor) {
    if (end.left(*cursor) < kHintSampleHeaderBytes) refuse_truncated(file);
    parse_sample_header(sample, cursor);
}
inline void read_packet_header(const PropFile& file, HintEnd end, _TAG_RTPpacket3gp* packet,
                               const unsigned char** cursor) {
    if (!packet_header_fits(*cursor, end.left(*cursor))) refuse_truncated(file);
    parse_packet_header(packet, cursor);
}

// The kind byte of a constructor that lies in the hint sample as a whole; the cursor ends behind the byte.
inline unsigned char read_constructor_kind(const PropFile& file, HintEnd end, const unsigned char** cursor,
                                           const char* path) {
    const size_t left = end.left(*cursor);
    if (left == 0) refuse_truncated(file);
    const unsigned char kind = *(*cursor)++;
    QLIP_LOG_VERBOSE(path, "constructor_type(8):     %d\n", kind);
    if (kind <= kSampleDescriptionConstructor && left < kConstructorBytes) refuse_truncated(file);
    return kind;
}

// Calls the producer's operation for the kind; returns the bytes that it added. A kind that is not known
// moves the cursor no further than its own byte. The next constructor is then read from the wrong place, and
// nothing resynchronises it: kept for readers of the stream [unknown-constructor].
inline unsigned int run_constructor(PropFile& file, unsigned char kind, const unsigned char** cursor) {
    switch (kind) {
        case kNoOpConstructor:
            return file.ProcessRTPnoopconstructor(cursor);
        case kImmediateConstructor:
            return file.ProcessRTPimmediateconstructor(cursor);
        case kSampleConstructor:
            return file.ProcessRTPsampleconstructor(cursor);
        case kSampleDescriptionConstructor:
            return file.ProcessRTPsampledescriptionconstructor(cursor);
        default:
            return 0;
    }
}

// The producers' operations, for a frame buffer of `capacity`. When they throw kBadHintContent, the cursor
// stands behind the constructor already.
unsigned int append_immediate(PropFile& file, const unsigned char** cursor, unsigned int capacity);
unsigned int append_media_sample(PropFile& file, const unsigned char** cursor, unsigned int capacity);
unsigned int skip_sample_description(const unsigned char** cursor);

}  // namespace qlip
