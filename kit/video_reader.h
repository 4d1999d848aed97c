// Video without a hint track: samples cut into packets by libqlip's packetisers.
#pragma once

#include <memory>

#include "kit/frame_reader.h"
#include "kit/mpeg4_configuration.h"
#include "kit/sample_feed.h"
#include "qlip/wld_native.h"

namespace qlip::kit {

class VideoReader : public FrameReader {
  public:
    VideoReader(const SampleFeed& feed, iso_track* track, unsigned int room);

    int next(Draft& draft) override;
    int move_to(int sample) override { return feed_.move_to(sample); }
    uint64_t floor() const override { return feed_.floor(); }
    size_t frame_room() const override { return frame_room_; }

    size_t most_packets() const { return most_packets_; }

  private:
    int packetise(Draft& draft, const Sample& sample);
    bool list_packets(Draft& draft, int bytes);

    iso_track* track_;
    SampleFeed feed_;
    TrackClock clock_;
    Mpeg4Configuration configuration_;
    wld_native native_{};
    unsigned int room_;
    unsigned int records_size_;
    size_t most_packets_;
    size_t frame_room_;
    std::unique_ptr<unsigned char[]> memory_;  // room for a configuration, and the sample
    unsigned char* sample_at_;
    unsigned char* records_ = nullptr;  // of the frame in hand
};

}  // namespace qlip::kit
