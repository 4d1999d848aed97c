// Video with a hint track: packets as the file says, built where they will be sent from.
#pragma once

#include <memory>
#include <vector>

#include "kit/frame_reader.h"
#include "kit/h264_payload.h"
#include "kit/movie.h"
#include "kit/mpeg4_configuration.h"
#include "kit/track_times.h"

namespace qlip::kit {

// The media's parameter sets as packets, which go in front of IDR pictures and of the first one. They are
// made once, and copied behind the picture.
class ParameterSets {
  public:
    ParameterSets() = default;
    explicit ParameterSets(const iso_track* media);

    // At `memory` there is room for `size` bytes.
    void put_in_front(PacketList& packets, unsigned char* memory) const;
    size_t size() const { return packets_.size(); }
    size_t count() const { return sizes_.size(); }

  private:
    std::vector<unsigned char> packets_;
    std::vector<size_t> sizes_;
};

class HintedReader : public FrameReader {
  public:
    HintedReader(iso_track* hint, iso_track* media, EngineIo& io, Source& source, Trouble& trouble);

    int next(Draft& draft) override;
    int move_to(int sample) override;
    uint64_t floor() const override { return static_cast<uint32_t>(hint_->read_floor); }
    size_t frame_room() const override;

    size_t sets_in_front() const { return sets_.count(); }
    size_t most_packets() const { return capacity_ / (kHeaderSize + 1); }

    // The payload type that the first packet names; 0 where there is no packet. 0, 17, 4 or 16.
    int look_at_payload_type(unsigned int& type);

  private:
    int gather();
    int take_packet(bool& ends);
    int check_claim();
    int pass_over(int status, const char* what);
    void keep_packet(unsigned char* packet, int size);
    int sample_of_last_packet() const;
    void finish(Draft& draft);
    PictureStart list(Draft& draft);
    void play_from(int hint_sample);

    iso_track* hint_;
    iso_track* media_;
    EngineIo& io_;
    Source& source_;
    Trouble& trouble_;
    TrackClock clock_;
    TickScale offset_rtp_, offset_nanoseconds_;  // of composition offsets, which only the media track has
    TimeCursor times_;                           // of the hint track, at the packet built last
    Mpeg4Configuration configuration_;
    ParameterSets sets_;
    size_t capacity_;
    unsigned char* memory_ = nullptr;  // of the frame in hand
    size_t used_ = 0;                  // by its packets, one behind the other
    uint64_t delivered_ = 0;           // bytes since the last move
    uint64_t believed_ = 0;            // how many there may be
    bool first_ = true;                // frame of the stream, or behind a seek
};

}  // namespace qlip::kit
