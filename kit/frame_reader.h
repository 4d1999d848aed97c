// What reads a track frame by frame: one kind for speech, one for video that libqlip cuts, one for hint
// tracks.
#pragma once

#include <cstdint>

#include "kit/packet_list.h"
#include "kit/trouble.h"

namespace qlip::kit {

// A frame without its numbers: what a reader knows about it.
struct Draft {
    PacketList packets;
    int64_t time = 0, presentation_time = 0;
    uint64_t duration = 0;
    uint32_t rtp_time = 0;  // when it is presented, from the start of the media
    bool is_sync = false;
    bool marker = true;
};

class FrameReader {
  public:
    FrameReader() = default;
    virtual ~FrameReader() = default;
    FrameReader(const FrameReader&) = delete;
    FrameReader& operator=(const FrameReader&) = delete;

    // The next frame into `draft`, whose packets are empty before. A status of qlip_stream_read.
    virtual int next(Draft& draft) = 0;

    // The next frame is that of media sample `sample`, which exists.
    virtual int move_to(int sample) = 0;

    // The lowest place in the file that frames to come can need.
    virtual uint64_t floor() const = 0;
};

}  // namespace qlip::kit
