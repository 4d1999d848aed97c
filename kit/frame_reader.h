// What reads a track frame by frame: one kind for speech, one for video that libqlip cuts, one for hint
// tracks.
#pragma once

#include <cstdint>

#include "kit/packet_list.h"
#include "kit/packet_memory.h"
#include "kit/trouble.h"

namespace qlip::kit {

// A frame as its reader leaves it: the packets lack their headers, the record what follows from those, and
// the timestamp counts from 0.
struct Draft {
    PacketList packets;
    PacketMemory memory;  // where they are built
    qlip_frame frame{};
};

class FrameReader {
  public:
    FrameReader() = default;
    virtual ~FrameReader() = default;
    FrameReader(const FrameReader&) = delete;
    FrameReader& operator=(const FrameReader&) = delete;

    // The next frame into `draft`, whose packets are empty before. A status of qlip_stream_read.
    virtual int next(Draft& draft) = 0;

    // How much memory the packets of a frame take at most.
    virtual size_t frame_room() const = 0;

    // The next frame is that of media sample `sample`, which exists.
    virtual int move_to(int sample) = 0;

    // The lowest place in the file that frames to come can need.
    virtual uint64_t floor() const = 0;
};

}  // namespace qlip::kit
