// The video reader: one stage machine, which replays a hint track where the file has a usable one and cuts
// samples into packets itself where it has none. A row per codec holds everything in which the codecs differ.
#pragma once

#include "formats/rtp.h"
#include "packets/frame_cuts.h"
#include "qlip/native_stream.h"
#include "session/session.h"

namespace qlip {

struct VideoCodec;

// One call of the reader.
struct VideoCall {
    const VideoCodec& codec;
    mm_Interface& session;
    unsigned char* buffer;  // the caller's
    unsigned int* size;
    iso_track* hint;           // null: samples are cut here
    unsigned int written = 0;  // bytes in `buffer` ahead of the frame record
    unsigned int packets = 0;  // of the frame in hand
};

// What a failed hint packet means for the frame that comes with the file-level header.
struct FirstFrameEnding {
    int failed;             // status after a failure
    bool waits_for_nobody;  // data that is not there yet counts as an empty frame
};

struct VideoCodec {
    int payload_type;
    int rfc_mode;
    int (*cut)(FrameCuts& cuts, ByteSpan sample, double seconds, wld_native& native);
    void (*put_prop)(PROP_Header_Info*, int);
    void (*put_codec)(VID_Header_CodecInfo*, int, int, iso_track*);
    unsigned int (*put_config)(unsigned char* to, iso_track*);  // returns the record's bytes

    // Hint playback.
    bool config_from_hint;         // the configuration record shows the hint track, not the media track
    bool header_awaits_packet;     // the codec's name depends on the first packet
    bool keeps_failure;            // a failure is left in the session's `status` too
    FirstFrameEnding first_frame;  // `waits_for_nobody` holds without hints as well

    // Hooks, null for none; the last two return the bytes that the sample or packet_in_hand now has, or -1
    // when it no longer fits.
    bool (*before_first_packet)(VideoCall& call);
    int (*before_cutting)(mm_Interface& session, int bytes);
    int (*before_conversion)(VideoCall& call, int bytes);
};

int read_video(mm_Interface& session, unsigned char* buffer, unsigned int* size, bool indexed,
               const VideoCodec& codec) noexcept;

inline constexpr int kRecordBytes = sizeof(wld_packet_record);

// Hint playback: the packet records of the frame in hand. They have all of the working memory for themselves
// and the RTP packet behind them, which becomes the next record where it stands.
inline unsigned char* packet_records(mm_Interface& session) {
    return working_memory(session);
}

// That packet. Its payload stands where that of the record will, and there is room for any packet.
inline unsigned char* packet_in_hand(mm_Interface& session) {
    return working_memory(session) + session.carry_size + (kRecordBytes - kRtpHeaderBytes);
}
static_assert(kBufferBytes + kRecordBytes - kRtpHeaderBytes + ISOFF_PACKET_CAPACITY <= kWorkingBytes);

}  // namespace qlip
