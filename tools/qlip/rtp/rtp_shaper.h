// Frames of a native stream as RTP packets (RFC 3550) that any receiver takes.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "rtp/rtp_format.h"
#include "stream/stream_reader.h"

namespace qlip_tool {

struct RtpPacket {
    unsigned int payload_type;
    bool marker;
    unsigned int sequence;  // 16 bits
    uint32_t timestamp;
    std::span<const unsigned char> payload;
};

// The packet's bytes, in `into`.
void write_rtp(const RtpPacket& packet, std::vector<unsigned char>& into);

// Receivers differ from the stream's records in three points, and the shaper settles them. The marker stands
// on a frame's last packet only, while records also mark the last fragment of every fragmented NAL unit.
// H.264 parameter sets inside a picture are left out: a decoder would end the picture there; at its start
// they take the picture's timestamp. The numbers then run on without a gap. With `as_is` the records go out
// untouched.
class RtpShaper {
  public:
    RtpShaper(const RtpFormat& format, bool is_h264, bool as_is)
        : format_(format), is_h264_(is_h264), as_is_(as_is) {}

    // The packets of the next frame; valid until the next call, and as long as the frame.
    const std::vector<RtpPacket>& shape(const StreamHeader& header, const Frame& frame);

    // The stream starts anew behind the frame before: its numbers and timestamps run on.
    void start_over();

  private:
    void shape_audio(const Frame& frame);
    void shape_video(const Frame& frame);
    void number();

    RtpFormat format_;
    bool is_h264_;
    bool as_is_;
    std::vector<RtpPacket> packets_;
    unsigned int next_sequence_ = 0;
    bool talking_ = false;
    bool started_ = false;
    bool restarted_ = false;
    uint32_t shift_ = 0;  // of the timestamps, after a start over
    uint32_t last_timestamp_ = 0;
    uint32_t last_step_ = 0;
};

}  // namespace qlip_tool
