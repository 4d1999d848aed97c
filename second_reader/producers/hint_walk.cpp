#include "second_reader/producers/hint_walk.h"

#include <cstdint>
#include <cstring>
#include <functional>

#include "common/byte_order.h"
#include "common/log.h"
#include "formats/rtp_hint_sample.h"
#include "second_reader/producers/control_signals.h"
#include "second_reader/producers/fault_log.h"
#include "second_reader/producers/frame_buffer.h"
#include "second_reader/producers/hint_dump.h"
#include "second_reader/producers/reader_view.h"

namespace qlip {

namespace {

// The fields of a sample constructor, in their order.
struct SampleReference {
    unsigned int track;
    unsigned int length;
    unsigned int sample;
    unsigned int offset;
    unsigned int bytes_per_block;
    unsigned int samples_per_block;
};

// Bytes from the cursor to the end of the hint sample. The interface knows where its hint sample ends; bytes
// that a caller brought along have no known end.
size_t bytes_left(const PropFile& file, const unsigned char* cursor) {
    if (!file.m_pInterface) return SIZE_MAX;
    const ReaderView reader{*file.m_pInterface};
    const unsigned char* begin = reader.hint_sample();
    const unsigned char* end = reader.hint_sample_end();
    const std::less<> before;
    if (!begin || before(cursor, begin) || before(end, cursor)) return SIZE_MAX;
    return static_cast<size_t>(end - cursor);
}

[[noreturn]] void refuse_truncated(const PropFile& file) {
    QLIP_LOG_FAULT(ReaderView::faults(file), Fault::HintSampleEnd, kBasePath,
                   "Hint sample ends before its content does");
    throw kBadHintContent;
}

SampleReference read_sample_reference(const unsigned char** cursor) {
    SampleReference reference;
    reference.track = PropFile::GetAndAdvance8(cursor);
    reference.length = PropFile::GetAndAdvance16(cursor);
    reference.sample = PropFile::GetAndAdvance32(cursor);
    reference.offset = PropFile::GetAndAdvance32(cursor);
    reference.bytes_per_block = PropFile::GetAndAdvance16(cursor);
    reference.samples_per_block = PropFile::GetAndAdvance16(cursor);
    QLIP_DUMP(
        "trackrefindex(8):        %d\nlength(16):              %d\nsamplenumber(32):        %d\n"
        "sampleoffset(32):        %d\nbytesperblock(16):       %d\nsamplesperblock(16):     %d\n",
        reference.track, reference.length, reference.sample, reference.offset, reference.bytes_per_block,
        reference.samples_per_block);
    return reference;
}

// The bytes that a sample constructor names. The track index is not looked at: all media is of one track. Nor
// is the sample's own size: what lies behind it in the buffer is delivered with it. Kept for readers
// of the stream [constructor-track-index] [constructor-beyond-sample].
const unsigned char* fetch(const PropFile& file, const SampleReference& reference) {
    if (!file.m_pInterface) throw kBadHintContent;
    const unsigned char* data = nullptr;
    if (file.m_pInterface->GetMediaSample(reference.sample, &data) == 0) throw kMediaNotAvailable;
    const uint64_t end = uint64_t{reference.offset} + reference.length;
    if (end > ReaderView{*file.m_pInterface}.media_buffer_bytes()) {
        QLIP_LOG_FAULT(ReaderView::faults(file), Fault::MediaBuffer, kBasePath,
                       "Hint sample reaches beyond the buffer of media sample %d", reference.sample);
        throw kBadHintContent;
    }
    return data + reference.offset;
}

unsigned int append(PropFile& file, const unsigned char* data, unsigned int bytes) {
    if (bytes > 0) std::memcpy(file.m_pBuffer + file.m_uLength, data, bytes);
    file.m_uLength += bytes;
    return bytes;
}

void dump_immediate(const unsigned char* data, unsigned int count) {
    QLIP_DUMP("count(8):                %d\n", count);
    QLIP_DUMP("  padding:               %d\n", static_cast<int>(kImmediateRoom) - static_cast<int>(count));
    QLIP_DUMP("  data: ");
    for (unsigned int i = 0; i < count; ++i)
        QLIP_DUMP("%02X ", data[i]);
    QLIP_DUMP("\n");
}

}  // namespace

bool packet_header_fits(const unsigned char* cursor, size_t left) {
    if (left < kHintPacketHeaderBytes) return false;
    if (!(load_be16(cursor + kHintFlagsAt) & kHintExtraInformation)) return true;
    left -= kHintPacketHeaderBytes;
    if (left < kHintExtraLengthBytes) return false;
    const uint32_t length = load_be32(cursor + kHintPacketHeaderBytes);
    return length >= kHintExtraLengthBytes && length <= left;
}

void read_sample_header(const PropFile& file, _TAG_RTPsample3gp* sample, const unsigned char** cursor) {
    if (bytes_left(file, *cursor) < kHintSampleHeaderBytes) refuse_truncated(file);
    PropFile::GetRTPsample3gp(sample, cursor);
}

void read_packet_header(const PropFile& file, _TAG_RTPpacket3gp* packet, const unsigned char** cursor) {
    if (!packet_header_fits(*cursor, bytes_left(file, *cursor))) refuse_truncated(file);
    PropFile::GetRTPpacket3gp(packet, cursor);
}

unsigned char read_constructor_kind(const PropFile& file, const unsigned char** cursor, const char* path) {
    const size_t left = bytes_left(file, *cursor);
    if (left == 0) refuse_truncated(file);
    const unsigned char kind = PropFile::GetAndAdvance8(cursor);
    QLIP_LOG_VERBOSE(path, "constructor_type(8):     %d\n", kind);
    if (kind <= kSampleDescriptionConstructor && left - 1 < kBehindConstructorKind) refuse_truncated(file);
    return kind;
}

// A kind that is not known moves the cursor no further than its own byte. The next constructor is then read
// from the wrong place, and nothing resynchronises it: kept for readers of the stream [unknown-constructor].
unsigned int run_constructor(PropFile& file, unsigned char kind, const unsigned char** cursor) {
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

// A count above 14 takes bytes of what follows the constructor; the cursor still ends right behind it: kept
// for readers of the stream [long-immediate-constructor].
unsigned int append_immediate(PropFile& file, const unsigned char** cursor, unsigned int capacity) {
    QLIP_DUMP("RTPimmediateconstructor\n");
    const unsigned int count = PropFile::GetAndAdvance8(cursor);
    const unsigned char* data = *cursor;
    const size_t left = bytes_left(file, data);
    *cursor += kImmediateRoom;
    if (left < count) refuse_truncated(file);
    require_room(file, count, capacity);
    if (sx_Debug > 4) dump_immediate(data, count);
    return append(file, data, count);
}

unsigned int append_media_sample(PropFile& file, const unsigned char** cursor, unsigned int capacity) {
    QLIP_DUMP("RTPsampleconstructor\n");
    const SampleReference reference = read_sample_reference(cursor);
    const unsigned char* data = fetch(file, reference);
    require_room(file, reference.length, capacity);
    return append(file, data, reference.length);
}

unsigned int skip_sample_description(const unsigned char** cursor) {
    QLIP_DUMP("RTPsampledescriptionconstructor\n");
    const unsigned int track = PropFile::GetAndAdvance8(cursor);
    const unsigned int length = PropFile::GetAndAdvance16(cursor);
    const unsigned int index = PropFile::GetAndAdvance32(cursor);
    const unsigned int offset = PropFile::GetAndAdvance32(cursor);
    PropFile::GetAndAdvance32(cursor);  // reserved
    QLIP_DUMP(
        "trackrefindex(8):        %d\nlength(16):              %d\nsampledescriptionindex(32): %d\n"
        "sampledescriptionoffset(32): %d\n",
        track, length, index, offset);
    return 0;
}

}  // namespace qlip
