// The times of a track's samples, from its run-length tables (ISO/IEC 14496-12 8.6), and between clocks.
#pragma once

#include <algorithm>
#include <cstdint>

#include "qlip/isoff.h"

namespace qlip::kit {

// Times of hostile files end here, 73 years in nanoseconds, so that the sum of two is still a number.
inline constexpr int64_t kEndOfTime = int64_t{1} << 61;

__extension__ using Wide = unsigned __int128;

// Multiplies by a ratio, to the nearest whole number, up to kEndOfTime. Divides by multiplying with the
// reciprocal, which is exact as long as product and divisor multiplied stay below 2^64; larger ones take the
// long way.
class TickScale {
  public:
    TickScale() = default;
    TickScale(uint32_t to_per_second, uint32_t from_per_second);

    int64_t of(int64_t ticks) const {
        if (ticks > safe_ || ticks < -safe_) return wide(ticks);
        const int64_t product = ticks * factor_;
        if (divisor_ == 1) return product;
        return product < 0 ? -divide(-product) : divide(product);
    }

  private:
    int64_t divide(int64_t product) const {
        return static_cast<int64_t>((static_cast<Wide>(product + half_) * reciprocal_) >> 64);
    }
    int64_t wide(int64_t ticks) const;

    int64_t factor_ = 1;
    int64_t divisor_ = 1;
    int64_t half_ = 0;
    int64_t safe_ = kEndOfTime;
    uint64_t reciprocal_ = 0;  // 2^64 by the divisor, rounded up; not used for a divisor of 1
};

inline TickScale nanosecond_scale(uint32_t timescale) {
    return {1000000000, timescale};
}

// What a track's edit list adds to its presentation times, in nanoseconds: an empty edit in front delays
// them, and the media time of the first real one counts as 0.
int64_t shift_of(const iso_track* track);

// A track's ticks as nanoseconds of the presentation, and as RTP ticks of the media.
class TrackClock {
  public:
    TrackClock() = default;
    TrackClock(uint32_t timescale, uint32_t clock_rate, int64_t shift)
        : nanoseconds_(nanosecond_scale(timescale)), rtp_(clock_rate, timescale), shift_(shift) {}

    int64_t nanoseconds(int64_t ticks) const { return nanoseconds_.of(ticks) + shift_; }
    uint32_t rtp(int64_t ticks) const { return static_cast<uint32_t>(rtp_.of(ticks)); }
    uint64_t length(uint32_t ticks) const { return static_cast<uint64_t>(nanoseconds_.of(ticks)); }

  private:
    TickScale nanoseconds_;
    TickScale rtp_;
    int64_t shift_ = 0;
};

// A run-length table of (count, value), and a place in it. Rows without samples are passed over; behind the
// last row the value is 0 for ever.
class RunCursor {
  public:
    RunCursor() = default;
    RunCursor(const int (*rows)[2], int count) : rows_(rows), count_(rows ? count : 0) { settle(); }

    int value() const { return row_ < count_ ? rows_[row_][1] : 0; }
    int64_t left() const { return row_ < count_ ? int64_t{rows_[row_][0]} - used_ : INT64_MAX; }
    void pass(int64_t samples) {  // at most left()
        if (row_ >= count_) return;
        used_ += samples;
        if (used_ < rows_[row_][0]) return;
        used_ = 0;
        ++row_;
        settle();
    }

  private:
    void settle() {
        while (row_ < count_ && rows_[row_][0] <= 0)
            ++row_;
    }

    const int (*rows_)[2] = nullptr;
    int count_ = 0;
    int row_ = 0;
    int64_t used_ = 0;
};

// A walk along the samples of a track with their times, in the track's ticks.
class TimeCursor {
  public:
    TimeCursor() = default;
    explicit TimeCursor(const iso_track* track);

    int sample() const { return sample_; }
    int64_t decode() const { return decode_; }
    uint32_t duration() const { return static_cast<uint32_t>(deltas_.value() < 0 ? 0 : deltas_.value()); }
    int64_t presentation() const { return decode_ + offsets_.value(); }
    int offset() const { return offsets_.value(); }

    void next() { pass(1); }
    void move_to(int sample);

    // How many samples from here on have one duration and one offset, up to `most`.
    int run(int most) const;
    void pass(int samples) {  // at most a run
        decode_ = std::min(decode_ + int64_t{duration()} * samples, kEndOfTime);
        deltas_.pass(samples);
        offsets_.pass(samples);
        sample_ += samples;
    }

  private:
    const iso_track* track_ = nullptr;
    RunCursor deltas_, offsets_;
    int64_t decode_ = 0;
    int sample_ = 0;
};

int64_t sum_of_counts(const int (*rows)[2], int count);

// The last sample that is presented, and the last one that is decoded, at or before a time; the first one
// when none is.
int sample_presented_before(const iso_track* track, int64_t ticks);
int sample_decoded_before(const iso_track* track, int64_t ticks);

// Where to start for a presentation time in nanoseconds: at the last sync sample of video, or any sample of
// audio, that is presented at or before it. And when a sample is presented.
int sample_to_start_from(const iso_track* track, int64_t time);
int64_t presentation_of(const iso_track* track, int sample);

// The same among the samples at which decoding can start. Without a table of those, that is all of them.
int sync_sample_before(const iso_track* track, int64_t ticks);
bool is_sync_sample(const iso_track* track, int sample);

}  // namespace qlip::kit
