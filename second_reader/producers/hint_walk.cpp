#include "second_reader/producers/hint_walk.h"

#include <cstdint>
#include <cstring>

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

[[gnu::cold]] void dump_reference(SampleReference reference) {
    QLIP_DUMP(
        "trackrefindex(8):        %d\nlength(16):              %d\nsamplenumber(32):        %d\n"
        "sampleoffset(32):        %d\nbytesperblock(16):       %d\nsamplesperblock(16):     %d\n",
        reference.track, reference.length, reference.sample, reference.offset, reference.bytes_per_block,
        reference.samples_per_block);
}

SampleReference read_sample_reference(const unsigned char** cursor) {
    const unsigned char* at = *cursor;
    *cursor += kBehindConstructorKind;
    const SampleReference reference{at[0],
                                    load_be16(at + 1),
                                    load_be32(at + 3),
                                    load_be32(at + 7),
                                    load_be16(at + 11),
                                    load_be16(at + 13)};
    if (sx_Debug > 4) dump_reference(reference);
    return reference;
}

[[noreturn, gnu::cold]] void refuse_reference(const PropFile& file, unsigned int sample) {
    QLIP_LOG_FAULT(ReaderView::faults(file), Fault::MediaBuffer, kBasePath,
                   "Hint sample reaches beyond the buffer of media sample %d", sample);
    throw kBadHintContent;
}

// The bytes that a sample constructor names. The track index is not looked at: all media is of one track. Nor
// is the sample's own size: what lies behind it in the buffer is delivered with it. Kept for readers
// of the stream [constructor-track-index] [constructor-beyond-sample].
const unsigned char* fetch(const PropFile& file, const SampleReference& reference) {
    if (!file.m_pInterface) throw kBadHintContent;
    if (file.m_pInterface->GetMediaSample(reference.sample) == 0) throw kMediaNotAvailable;
    const ReaderView reader{*file.m_pInterface};
    const uint64_t end = uint64_t{reference.offset} + reference.length;
    if (end > reader.media_buffer_bytes()) refuse_reference(file, reference.sample);
    return reader.media_buffer() + reference.offset;
}

unsigned int append(PropFile& file, const unsigned char* data, unsigned int bytes) {
    if (bytes > 0) std::memcpy(file.m_pBuffer + file.m_uLength, data, bytes);
    file.m_uLength += bytes;
    return bytes;
}

[[gnu::cold]] void dump_immediate(const unsigned char* data, unsigned int count) {
    QLIP_DUMP("count(8):                %d\n", count);
    QLIP_DUMP("  padding:               %d\n", static_cast<int>(kImmediateRoom) - static_cast<int>(count));
    QLIP_DUMP("  data: ");
    for (unsigned int i = 0; i < count; ++i)
        QLIP_DUMP("%02X ", data[i]);
    QLIP_DUMP("\n");
}

}  // namespace

void refuse_truncated(const PropFile& file) {
    QLIP_LOG_FAULT(ReaderView::faults(file), Fault::HintSampleEnd, kBasePath,
                   "Hint sample ends before its content does");
    throw kBadHintContent;
}

bool extra_information_fits(const unsigned char* cursor, size_t left) {
    left -= kHintPacketHeaderBytes;
    if (left < kHintExtraLengthBytes) return false;
    const uint32_t length = load_be32(cursor + kHintPacketHeaderBytes);
    return length >= kHintExtraLengthBytes && length <= left;
}

// A count above 14 takes bytes of what follows the constructor; the cursor still ends right behind it: kept
// for readers of the stream [long-immediate-constructor].
unsigned int append_immediate(PropFile& file, const unsigned char** cursor, unsigned int capacity) {
    QLIP_DUMP("RTPimmediateconstructor\n");
    const unsigned int count = **cursor;
    const unsigned char* data = *cursor + kImmediateCountBytes;
    const size_t left = HintEnd(file, data).left(data);
    *cursor += kBehindConstructorKind;
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
