#include "kit/track_times.h"

#include <algorithm>
#include <numeric>

namespace qlip::kit {
namespace {

constexpr uint32_t kEmptyEdit = 0xFFFFFFFF;

// The last sample whose time, as `time_of` takes it from the cursor, is not above `ticks`.
template <class TimeOf>
int last_sample_before(const iso_track* track, int64_t ticks, TimeOf time_of) {
    TimeCursor cursor(track);
    int best = 0;
    while (cursor.sample() < track->sample_count) {
        const int run = cursor.run(track->sample_count - cursor.sample());
        const int64_t first = time_of(cursor);
        if (first <= ticks) {
            const int64_t step = cursor.duration();
            const int64_t later = step > 0 ? std::min<int64_t>((ticks - first) / step, run - 1) : run - 1;
            best = cursor.sample() + static_cast<int>(later);
        }
        cursor.pass(run);
    }
    return best;
}

}  // namespace

TickScale::TickScale(uint32_t to_per_second, uint32_t from_per_second) {
    const uint32_t divisor = std::gcd(to_per_second, from_per_second);
    factor_ = to_per_second / divisor;
    divisor_ = from_per_second / divisor;
    half_ = divisor_ / 2;
    if (divisor_ > 1) reciprocal_ = UINT64_MAX / static_cast<uint64_t>(divisor_) + 1;
    const auto most =
        static_cast<int64_t>(std::min<uint64_t>(kEndOfTime, UINT64_MAX / static_cast<uint64_t>(divisor_)));
    safe_ = (most - half_) / factor_;
}

int64_t TickScale::wide(int64_t ticks) const {
    const auto magnitude = static_cast<Wide>(ticks < 0 ? -ticks : ticks);
    const Wide scaled =
        (magnitude * static_cast<Wide>(factor_) + static_cast<Wide>(half_)) / static_cast<Wide>(divisor_);
    const auto result = static_cast<int64_t>(std::min<Wide>(scaled, kEndOfTime));
    return ticks < 0 ? -result : result;
}

int64_t shift_of(const iso_track* track) {
    if (!track->edits || track->timescale == 0) return 0;
    int64_t delay = 0;  // movie time scale; as many rows as there can be stay far inside 64 bits
    int row = 0;
    for (; row < track->edit_count && track->edits[row][1] == kEmptyEdit; ++row)
        delay += track->edits[row][0];
    const uint32_t start = row < track->edit_count ? track->edits[row][1] : 0;
    const uint32_t movie_scale = std::max(track->file->timescale, 1U);
    return nanosecond_scale(movie_scale).of(delay) - nanosecond_scale(track->timescale).of(start);
}

TimeCursor::TimeCursor(const iso_track* track)
    : track_(track), deltas_(track->stts, track->stts_count), offsets_(track->ctts, track->ctts_count) {}

int TimeCursor::run(int most) const {
    return static_cast<int>(std::min({int64_t{most}, deltas_.left(), offsets_.left()}));
}

void TimeCursor::move_to(int sample) {
    if (sample == sample_ + 1) return next();
    if (sample < sample_) *this = TimeCursor(track_);
    while (sample_ < sample)
        pass(run(sample - sample_));
}

int64_t sum_of_counts(const int (*rows)[2], int count) {
    int64_t sum = 0;
    for (int i = 0; rows && i < count; ++i)
        sum += std::max(rows[i][0], 0);
    return sum;
}

int sample_presented_before(const iso_track* track, int64_t ticks) {
    return last_sample_before(track, ticks, [](const TimeCursor& at) { return at.presentation(); });
}

int sample_decoded_before(const iso_track* track, int64_t ticks) {
    return last_sample_before(track, ticks, [](const TimeCursor& at) { return at.decode(); });
}

// Entries that do not rise are passed over, so that the walk never turns back.
int sync_sample_before(const iso_track* track, int64_t ticks) {
    if (track->sync_count < 1) return sample_presented_before(track, ticks);
    TimeCursor cursor(track);
    int best = -1;
    for (int i = 0; i < track->sync_count; ++i) {
        const int64_t sample = int64_t{track->sync_samples[i]} - 1;
        if (sample < cursor.sample() || sample >= track->sample_count) continue;
        cursor.move_to(static_cast<int>(sample));
        if (best < 0 || cursor.presentation() <= ticks) best = cursor.sample();
    }
    return std::max(best, 0);
}

// Times of samples come from ticks by rounding, so a time may round up to the tick behind it.
int sample_to_start_from(const iso_track* track, int64_t time) {
    const TickScale to_ticks(track->timescale, 1000000000);
    const int64_t wanted = std::clamp(time, -kEndOfTime, kEndOfTime) - shift_of(track);
    int64_t ticks = to_ticks.of(wanted);
    if (nanosecond_scale(track->timescale).of(ticks) > wanted) --ticks;
    return sync_sample_before(track, ticks);
}

int64_t presentation_of(const iso_track* track, int sample) {
    TimeCursor cursor(track);
    cursor.move_to(sample);
    return nanosecond_scale(track->timescale).of(cursor.presentation()) + shift_of(track);
}

bool is_sync_sample(const iso_track* track, int sample) {
    if (track->sync_count < 1) return true;
    return std::binary_search(track->sync_samples, track->sync_samples + track->sync_count,
                              static_cast<unsigned int>(sample) + 1);
}

}  // namespace qlip::kit
