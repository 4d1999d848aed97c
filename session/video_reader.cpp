#include "session/video_reader.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "common/byte_order.h"
#include "common/padding.h"
#include "common/to_integer.h"
#include "formats/rtp.h"
#include "iso/play/armed_hint.h"
#include "iso/play/rtp_hint.h"
#include "iso/play/sample_reading.h"
#include "packets/wld_header.h"
#include "session/progress.h"

using namespace qlip;

namespace qlip {

namespace {

enum Stage : int { kFileHeader, kHeaderAndFrame, kFrameBody, kFrameRecord };

iso_track* delivered_track(const VideoCall& call) {
    return call.hint ? call.hint : call.session.track;
}

template <typename Record>
void append(VideoCall& call, const Record& record) {
    std::memcpy(call.buffer + call.written, &record, sizeof record);
    call.written += sizeof record;
}

int deliver_file_header(VideoCall& call) {
    call.session.stage = kHeaderAndFrame;
    int samples = 0;
    isoFFtrackInfo(delivered_track(call), nullptr, &samples, nullptr, nullptr);
    PROP_Header_Info record;
    call.codec.put_prop(&record, samples);
    append(call, record);
    return QLIP_SUCCESS;
}

void append_opening_records(VideoCall& call) {
    VID_Header_NTSInfo nts;
    wld_put_hdr_vid_nts(&nts);
    append(call, nts);
    VID_Header_IndxInfo index;
    wld_put_hdr_vid_index(&index);
    append(call, index);
}

void append_codec_records(VideoCall& call) {
    iso_track* track = delivered_track(call);
    int samples = 0;
    int bytes = 0;
    double seconds = 0.0;
    isoFFtrackInfo(track, nullptr, &samples, &seconds, &bytes);
    VID_Header_CodecInfo info;
    call.codec.put_codec(&info, to_i32(samples / seconds), to_i32(bytes * 8.0 / seconds), track);
    append(call, info);
    iso_track* configured = call.codec.config_from_hint ? track : call.session.track;
    call.written += call.codec.put_config(call.buffer + call.written, configured);
    VID_FileInfo file_info;
    wld_put_hdr_vid_fileInfo(&file_info, seconds);
    append(call, file_info);
}

// Word by word: a record put together on the stack would be loaded before its words are stored.
void store_frame_record(unsigned char* to, const wld_frame_record& record) {
    store_le32(to + offsetof(wld_frame_record, frame_size), record.frame_size);
    store_le32(to + offsetof(wld_frame_record, packet_count), record.packet_count);
    store_le32(to + offsetof(wld_frame_record, frame_pad), record.frame_pad);
}

// The packets of a frame are complete: its record goes out and stays for calls that find no data.
void put_frame_record(VideoCall& call, unsigned int packets) {
    const unsigned int filled = call.session.carry_size + static_cast<unsigned int>(sizeof(wld_frame_record) +
                                                                                    sizeof(wld_frame_prefix));
    const unsigned int pad = GetPadding(filled);
    const wld_frame_record record = {filled + pad, packets, pad};
    store_frame_record(call.buffer + call.written, record);
    store_frame_record(call.session.frame_record, record);
    call.written += sizeof record;
}

// The record of the frame before stands in; the next call starts this frame anew.
int not_available(VideoCall& call) {
    *call.size = 0;
    call.session.stage = kFrameRecord;
    std::memcpy(call.buffer, call.session.frame_record, sizeof call.session.frame_record);
    return QLIP_NOT_AVAILABLE_YET;
}

void cut_sample(const VideoCall& call, int bytes, double seconds) {
    mm_Interface& session = call.session;
    session.native.packet_count = 0;
    session.cuts.begin(session.native, call.codec.payload_type, kBufferBytes);
    const int packed =
        call.codec.cut(session.cuts, input_of(session.sample_buffer, bytes), seconds, session.native);
    // 65,535 after an overflow: kept for hosts, which walk the body by its packets [overflowed-body].
    session.carry_size = static_cast<unsigned short>(packed);
}

// What the cuts point to is about to change.
void forget_frame(mm_Interface& session) {
    session.cuts.forget();
    session.carry_size = 0;
}

int deliver_cut_frame(VideoCall& call, bool first) {
    mm_Interface& session = call.session;
    iso_track* track = session.track;
    const int wanted = next_sample_size(track, kBufferBytes);
    if (wanted == ISOFF_END) return QLIP_END_OF_FILE;
    forget_frame(session);
    session.working_set.reach(session.sample_buffer + wanted);
    double seconds = 0.0;
    int bytes = take_sample(track, session.sample_buffer, wanted, &seconds, nullptr);
    if (bytes == ISOFF_END) return QLIP_END_OF_FILE;
    if (bytes == ISOFF_NOT_YET) {
        if (!first) return not_available(call);
        if (!call.codec.first_frame.waits_for_nobody) return QLIP_FAILURE;
        bytes = 0;
    }
    if (call.codec.before_cutting) bytes = call.codec.before_cutting(session, bytes);
    if (bytes < 0) return QLIP_FAILURE;
    cut_sample(call, bytes, seconds);
    put_frame_record(call, session.native.packet_count);
    return report_progress(track, track->file_pos);
}

int report_hint_progress(const VideoCall& call) {
    return report_progress(call.hint, static_cast<unsigned int>(call.hint->read_floor));
}

int fail(VideoCall& call) {
    if (call.codec.keeps_failure) call.session.status = QLIP_FAILURE;
    return QLIP_FAILURE;
}

// No further packet: `result` is what next_packet said.
int end_without_frame(VideoCall& call, bool first, int result) {
    if (result == 0) return QLIP_END_OF_FILE;
    if (!first) return result == ISOFF_NOT_YET ? not_available(call) : fail(call);
    const FirstFrameEnding& ending = call.codec.first_frame;
    if (result == ISOFF_NOT_YET && ending.waits_for_nobody) return report_hint_progress(call);
    return result == ISOFF_NOT_YET ? QLIP_FAILURE : ending.failed;
}

// Makes the packet in hand the next of the packet records. False when there is no room.
[[nodiscard]] bool append_packet(VideoCall& call, int bytes) {
    mm_Interface& session = call.session;
    const int payload = bytes - kRtpHeaderBytes;
    if (payload < 0 || payload > kBufferBytes - kRecordBytes - session.carry_size) return false;
    put_record_of_rtp(packet_records(session) + session.carry_size, packet_in_hand(session),
                      static_cast<unsigned int>(payload), call.codec.payload_type);
    session.carry_size = static_cast<unsigned short>(session.carry_size + kRecordBytes + payload);
    ++call.packets;
    return true;
}

// A frame is the run of packets up to the next marker, whatever the hint samples are.
int deliver_hinted_frame(VideoCall& call, bool first) {
    mm_Interface& session = call.session;
    const VideoCodec& codec = call.codec;
    find_again(call.hint);
    session.carry_size = 0;
    bool header_due = first && codec.header_awaits_packet;
    if (first && codec.before_first_packet && !codec.before_first_packet(call)) return fail(call);
    for (;;) {
        int bytes = next_packet(call.hint, packet_in_hand(session), session.working_set);
        if (bytes < 1) return end_without_frame(call, first, bytes);
        if (header_due) append_codec_records(call);
        header_due = false;
        const bool complete = rtp_marker(packet_in_hand(session)) != 0;
        if (codec.before_conversion) bytes = codec.before_conversion(call, bytes);
        if (!append_packet(call, bytes)) return fail(call);
        if (complete) break;
    }
    put_frame_record(call, call.packets);
    return report_hint_progress(call);
}

void open_stream(VideoCall& call) {
    append_opening_records(call);
    if (!call.hint || !call.codec.header_awaits_packet) append_codec_records(call);
    if (call.hint) return;
    wld_native_init(&call.session.native, call.codec.payload_type, kPacketBytes, call.codec.rfc_mode,
                    call.session.track, 0);
}

// A failure leaves the stage at the body, unless it says otherwise.
int deliver_frame(VideoCall& call) {
    const bool first = call.session.stage == kHeaderAndFrame;
    call.session.stage = kFrameBody;
    if (first) open_stream(call);
    return call.hint ? deliver_hinted_frame(call, first) : deliver_cut_frame(call, first);
}

int deliver_stage(VideoCall& call) {
    switch (call.session.stage) {
        case kFileHeader:
            return deliver_file_header(call);
        case kHeaderAndFrame:
        case kFrameRecord:
            return deliver_frame(call);
        default:
            return QLIP_SUCCESS;
    }
}

// Out of line, so that a frame body, which is every second chunk, does not pay for its registers.
[[gnu::noinline]] int deliver_records(mm_Interface& session, unsigned char* buffer, unsigned int* size,
                                      const VideoCodec& codec) noexcept {
    VideoCall call{codec, session, buffer, size, session.hint};
    return guarded([&call] { return deliver_stage(call); });
}

// As long as `carry_size` says; an overflow leaves it beyond what the records take, and the rest is zero.
// Out of line like the making of the records.
[[gnu::noinline]] int gather_records(const mm_Interface& session, unsigned char* body) {
    const unsigned char* end = session.cuts.put_records(body);
    const auto written = static_cast<size_t>(end - body);
    if (written < session.carry_size) std::memset(body + written, 0, session.carry_size - written);
    return QLIP_SUCCESS;
}

int deliver_frame_body(mm_Interface& session, unsigned char* buffer) {
    session.stage = kFrameRecord;
    constexpr wld_frame_prefix kPrefix = {4, 1};
    std::memcpy(buffer, &kPrefix, sizeof kPrefix);
    unsigned char* body = buffer + sizeof kPrefix;
    if (!session.hint) return gather_records(session, body);
    std::memcpy(body, packet_records(session), session.carry_size);
    return QLIP_SUCCESS;
}

}  // namespace

int read_video(mm_Interface& session, unsigned char* buffer, unsigned int* size, bool indexed,
               const VideoCodec& codec) noexcept {
    begin_read(session, indexed);
    if (session.stage == kFrameBody) return deliver_frame_body(session, buffer);
    return deliver_records(session, buffer, size, codec);
}

}  // namespace qlip
