// The AMR readers: one stage machine, with a row per codec for everything in which AMR-NB and AMR-WB differ.
//
// A speech frame is two chunks: its header, then its payload, which is a CMR byte and the frame as the file
// stores it, the octet-aligned layout of RFC 4867 4.4 without interleaving.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "common/byte_order.h"
#include "formats/amr.h"
#include "formats/native_header.h"
#include "formats/rtp.h"
#include "iso/play/sample_reading.h"
#include "packets/audio_frame.h"
#include "qlip/native_stream.h"
#include "session/progress.h"
#include "session/session.h"

using namespace qlip;

namespace {

enum Stage : int { kFileHeader, kCodecHeader, kIndexHeader, kFileInfo, kFrameHeader, kFramePayload };

struct AudioCodec {
    AmrSpeechBytes speech_bytes;
    unsigned char highest_cmr;  // modes above it are no speech and repeat the last request
    AudioFrameKind frame;
    bool lenient;  // an empty sample is parsed all the same, and a carry that falls short wraps around
    int (*put_codec)(AUD_Codec_Header*, iso_track*);

    int ticks() const { return static_cast<int>(frame.ticks); }
};

constexpr AudioCodec kNarrowband = {narrowband_speech_bytes(), amr_mode_request(amr_storage_entry(7)),
                                    kNarrowbandFrame, true, wld_put_hdr_aud_codec};

constexpr AudioCodec kWideband = {wideband_speech_bytes(), amr_mode_request(amr_storage_entry(8)),
                                  kWidebandFrame, false, wld_put_hdr_aud_codec_wb};

constexpr size_t kTocBytes = 1;
constexpr size_t kCmrBytes = 1;
constexpr int kLongestFrame = 61;
// A longer run of carried frames moves down frame by frame, which bounds what move_run has to do at once.
constexpr int kLongestRun = kBufferBytes / 2;

// Speech frames in the track: its samples, or what their durations come to.
int frame_count(const AudioCodec& codec, iso_track* track) {
    int samples = 0;
    isoFFtrackInfo(track, nullptr, &samples, nullptr, nullptr);
    if (track->frames_per_sample == 1) return samples;
    uint32_t frames = 0;
    for (int row = 0; row < track->stts_count; ++row) {
        const int frames_each = track->stts[row][1] / codec.ticks();
        frames += static_cast<uint32_t>(track->stts[row][0]) * static_cast<uint32_t>(frames_each);
    }
    return static_cast<int>(frames);
}

int deliver_file_header(const AudioCodec& codec, mm_Interface& session, unsigned char* buffer) {
    session.stage = kCodecHeader;
    PROP_Header_Info record;
    wld_put_hdr_aud_prop(&record, frame_count(codec, session.track));
    std::memcpy(buffer, &record, sizeof record);
    return QLIP_SUCCESS;
}

int deliver_codec_header(const AudioCodec& codec, mm_Interface& session, unsigned char* buffer) {
    session.stage = kIndexHeader;
    AUD_Codec_Header record;
    if (codec.put_codec(&record, session.track) != 0) return QLIP_CODEC_HEADER_FAILED;
    std::memcpy(buffer, &record, sizeof record);
    return QLIP_SUCCESS;
}

int deliver_index_header(const AudioCodec& codec, mm_Interface& session, unsigned char* buffer) {
    session.stage = kFileInfo;
    AUD_Header_IndxInfo record;
    wld_put_hdr_aud_index(&record, frame_count(codec, session.track));
    std::memcpy(buffer, &record, sizeof record);
    return QLIP_SUCCESS;
}

int deliver_file_info(mm_Interface& session, unsigned char* buffer) {
    session.stage = kFrameHeader;
    double seconds = 0.0;
    isoFFtrackInfo(session.track, nullptr, nullptr, &seconds, nullptr);
    VID_FileInfo record;
    wld_put_hdr_fileInfo(&record, seconds);
    std::memcpy(buffer, &record, sizeof record);
    return QLIP_SUCCESS;
}

// The frame stays where it is; the record that is delivered in its place names AMR-WB's frame word for both
// codecs.
[[gnu::noinline]] int not_available(mm_Interface& session, unsigned char* buffer, unsigned int* size) {
    *size = 0;
    session.stage = kFrameHeader;
    constexpr AUD_AudFrame_Native kStandIn = {0, kWidebandFrameWord, 0, 0, 0, 0};
    std::memcpy(buffer, &kStandIn, sizeof kStandIn);
    return QLIP_NOT_AVAILABLE_YET;
}

size_t frame_bytes_of(const AudioCodec& codec, unsigned char toc) {
    return codec.speech_bytes[amr_storage_type(toc)] + kTocBytes;
}

// Moves the carried frames to the front. A carry that wrapped around may claim more than the buffer holds.
int take_carry(mm_Interface& session) {
    const int carried = session.carry_size;
    const int held = std::min(carried, kBufferBytes);
    unsigned char* front = working_memory(session) + kCmrBytes;
    session.carry_set.reach(session.carry_buffer + held);
    std::memmove(front, session.carry_buffer, static_cast<size_t>(held));
    session.working_set.note(front + held);
    return carried;
}

// Each delivered frame moves the carried ones to the start of the carry buffer, and what that leaves behind
// them is delivered by a carry that wraps around. The moves are made here, when it comes to that.
void move_run(const AudioCodec& codec, mm_Interface& session) {
    size_t left = session.carry_run;
    while (left > session.carry_size) {
        const size_t frame_bytes = frame_bytes_of(codec, session.carry_buffer[0]);
        left -= std::min(frame_bytes, left);
        std::memmove(session.carry_buffer, session.carry_buffer + frame_bytes, left);
    }
    session.carry_run = 0;
}

// Keeps the `rest` bytes behind a frame for the next calls. For a lenient codec a frame that is longer than
// the rest of its sample leaves a negative rest, which wraps in 16 bits.
void keep_carry(const AudioCodec& codec, mm_Interface& session, size_t frame_bytes, int rest) {
    if (codec.lenient && rest < session.carry_run) move_run(codec, session);
    if (rest > 0) {
        std::memmove(session.carry_buffer, working_memory(session) + kCmrBytes + frame_bytes,
                     static_cast<size_t>(std::min(rest, kBufferBytes)));
        session.carry_set.note(session.carry_buffer + std::min(rest, kBufferBytes));
        session.carry_run = rest <= kLongestRun ? static_cast<unsigned short>(rest) : 0;
    }
    session.carry_size = rest > 0 || codec.lenient ? static_cast<unsigned short>(rest) : 0;
}

// The request of a speech frame, or the last one for frames that carry none.
unsigned char mode_request(const AudioCodec& codec, mm_Interface& session, unsigned char toc) {
    const unsigned char request = amr_mode_request(toc);
    if (request <= codec.highest_cmr) session.last_cmr = request;
    return session.last_cmr;
}

// Writes the header chunk of the frame at the front and prepares its payload chunk. Returns the frame's
// bytes.
size_t put_frame_header(const AudioCodec& codec, mm_Interface& session, unsigned char* buffer) {
    const unsigned char toc = session.sample_buffer[kCmrBytes];
    const size_t frame_bytes = frame_bytes_of(codec, toc);
    const size_t payload_bytes = kCmrBytes + frame_bytes;
    constexpr size_t kRecordBytes = sizeof(AUD_AudFrame_Native);
    const size_t total = kRecordBytes + sizeof(uint32_t) + payload_bytes;
    put_audio_frame(buffer, static_cast<unsigned int>(total),
                    take_timestamp(session.audio_clock, codec.frame.ticks), session.audio_sequence++,
                    codec.frame);
    store_le32(buffer + kRecordBytes, 0);
    session.sample_buffer[0] = mode_request(codec, session, toc);
    session.pending_size = static_cast<unsigned short>(payload_bytes);
    return frame_bytes;
}

template <size_t kBytes>
[[gnu::always_inline]] inline void copy_both_ends(unsigned char* to, const unsigned char* from,
                                                  size_t bytes) {
    std::memcpy(to, from, kBytes);
    std::memcpy(to + bytes - kBytes, from + bytes - kBytes, kBytes);
}

// A frame has 1 to 61 bytes: few enough to be copied without a call.
[[gnu::always_inline]] inline void copy_frame(unsigned char* to, const unsigned char* from, size_t bytes) {
    if (bytes >= 32) {
        copy_both_ends<32>(to, from, bytes);
    } else if (bytes >= 16) {
        copy_both_ends<16>(to, from, bytes);
    } else if (bytes >= 8) {
        copy_both_ends<8>(to, from, bytes);
    } else {
        for (size_t i = 0; i < bytes; ++i)
            to[i] = from[i];
    }
}

// Copies so much as a frame can have, so that a truncated one is followed by the same bytes as if all carried
// frames had moved.
void take_frame_from_run(mm_Interface& session) {
    const unsigned char* from = session.carry_buffer + session.carry_run - session.carry_size;
    copy_frame(session.sample_buffer + kCmrBytes, from,
               std::min<size_t>(session.carry_size, size_t{kLongestFrame}));
}

[[gnu::noinline]] int deliver_carried_frame(const AudioCodec& codec, mm_Interface& session,
                                            unsigned char* buffer) {
    const int bytes = take_carry(session);
    const size_t frame_bytes = put_frame_header(codec, session, buffer);
    keep_carry(codec, session, frame_bytes, bytes - static_cast<int>(frame_bytes));
    return QLIP_SUCCESS;
}

// A frame that is not the whole of its sample.
[[gnu::noinline]] void keep_rest(const AudioCodec& codec, mm_Interface& session, size_t frame_bytes,
                                 int rest) {
    keep_carry(codec, session, frame_bytes, rest);
}

int deliver_frame_header(const AudioCodec& codec, mm_Interface& session, unsigned char* buffer,
                         unsigned int* size) {
    session.stage = kFramePayload;
    if (session.carry_size != 0) return deliver_carried_frame(codec, session, buffer);
    iso_track* track = session.track;
    const int wanted = next_sample_size(track, kBufferBytes);
    if (wanted == ISOFF_END) return QLIP_END_OF_FILE;
    unsigned char* sample = working_memory(session) + kCmrBytes;
    session.working_set.reach(sample + std::max(wanted, kLongestFrame));
    const int bytes = take_sample_alone(track, sample, wanted);
    if (bytes < 0) return bytes == ISOFF_END ? QLIP_END_OF_FILE : not_available(session, buffer, size);
    if (bytes == 0 && !codec.lenient) return QLIP_SUCCESS;
    const size_t frame_bytes = put_frame_header(codec, session, buffer);
    const int rest = bytes - static_cast<int>(frame_bytes);
    if (rest != 0 || session.carry_run != 0) keep_rest(codec, session, frame_bytes, rest);
    return report_progress(track, track->file_pos);
}

[[gnu::always_inline]] inline int deliver_payload(mm_Interface& session, unsigned char* buffer) {
    session.stage = kFrameHeader;
    if (session.pending_size == 0) return QLIP_SUCCESS;
    buffer[0] = session.sample_buffer[0];
    copy_frame(buffer + kCmrBytes, session.sample_buffer + kCmrBytes, session.pending_size - kCmrBytes);
    return QLIP_SUCCESS;
}

// Out of line, so that the two stages that make up a stream stay short.
[[gnu::noinline]] int deliver_header_record(const AudioCodec& codec, mm_Interface& session,
                                            unsigned char* buffer) {
    switch (session.stage) {
        case kFileHeader:
            return deliver_file_header(codec, session, buffer);
        case kCodecHeader:
            return deliver_codec_header(codec, session, buffer);
        case kIndexHeader:
            return deliver_index_header(codec, session, buffer);
        case kFileInfo:
            return deliver_file_info(session, buffer);
        default:
            return QLIP_SUCCESS;
    }
}

// One instance per row, which makes the row's values constants.
template <const AudioCodec& kCodec>
[[gnu::noinline, gnu::flatten]] int deliver_next_frame(mm_Interface& session, unsigned char* buffer,
                                                       unsigned int* size) noexcept {
    return guarded([&] { return deliver_frame_header(kCodec, session, buffer, size); });
}

bool stands_in_run(const mm_Interface& session) {
    return session.carry_run != 0 && session.carry_size != 0;
}

template <const AudioCodec& kCodec>
[[gnu::noinline, gnu::flatten]] int deliver_frame_of_run(mm_Interface& session, unsigned char* buffer) {
    session.stage = kFramePayload;
    take_frame_from_run(session);
    const size_t frame_bytes = put_frame_header(kCodec, session, buffer);
    const int rest = session.carry_size - static_cast<int>(frame_bytes);
    if (rest >= 0) {
        session.carry_size = static_cast<unsigned short>(rest);
    } else {
        keep_rest(kCodec, session, 0, rest);
    }
    return QLIP_SUCCESS;
}

// The callbacks are made for the next frame of a sample alone, so nothing else needs a guard.
template <const AudioCodec& kCodec>
int read_audio(mm_Interface& session, unsigned char* buffer, unsigned int* size, bool indexed) noexcept {
    begin_read(session, indexed);
    if (session.stage == kFramePayload) return deliver_payload(session, buffer);
    if (session.stage != kFrameHeader) return deliver_header_record(kCodec, session, buffer);
    if (stands_in_run(session)) return deliver_frame_of_run<kCodec>(session, buffer);
    return deliver_next_frame<kCodec>(session, buffer, size);
}

}  // namespace

int mmfi_Read_AMRNB(mm_Interface* session, unsigned char* buffer, unsigned int* size, bool indexed) noexcept {
    return read_audio<kNarrowband>(*session, buffer, size, indexed);
}

int mmfi_Read_AMRWB(mm_Interface* session, unsigned char* buffer, unsigned int* size, bool indexed) noexcept {
    return read_audio<kWideband>(*session, buffer, size, indexed);
}
