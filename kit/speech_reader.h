// AMR: one packet per speech frame, in octet-aligned mode (RFC 4867 4.4).
#pragma once

#include <memory>

#include "kit/frame_reader.h"
#include "kit/sample_feed.h"

namespace qlip::kit {

struct SpeechCodec;

class SpeechReader : public FrameReader {
  public:
    SpeechReader(const SampleFeed& feed, const iso_track* track, unsigned int room, bool keep_no_data);

    int next(Draft& draft) override;
    int move_to(int sample) override;
    uint64_t floor() const override { return feed_.floor(); }
    size_t frame_room() const override;

  private:
    int fetch();
    bool take_frame(Draft& draft, unsigned char* packet, const unsigned char* frame, unsigned int type,
                    unsigned int bytes);
    void take_time();

    const SpeechCodec& codec_;
    SampleFeed feed_;
    TickScale to_frame_clock_;  // from the track's
    TrackClock frame_clock_;
    unsigned int room_;
    bool keep_no_data_;
    std::unique_ptr<unsigned char[]> memory_;
    Sample sample_;
    unsigned char* frame_ = nullptr;  // next one of the sample
    unsigned int left_ = 0;           // bytes of the sample from there on
    int64_t now_ = 0;                 // of the next frame, in ticks of the codec's clock
    bool anchored_ = false;           // `now_` goes on from a frame before
    bool talking_ = false;
    unsigned char request_ = 0;
};

}  // namespace qlip::kit
