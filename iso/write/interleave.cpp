// isoFFgetInterleave: how long one track's data runs in the file without another track's between.

#include <algorithm>
#include <vector>

#include "qlip/isoff.h"

namespace {

// Tracks that lie over each other take turns sample by sample; a file can claim more of those than there is
// time for.
constexpr int kMostTurns = 1 << 22;

// A walk over one track's samples by file position.
class Walk {
  public:
    explicit Walk(const iso_track* walked) : track_(walked), position_(walked->chunks[0].start) {}

    unsigned int position() const { return position_; }
    bool has_samples() const { return sample_ < track_->sample_count && chunk_ < track_->chunk_count; }

    // Steps over the samples that begin ahead of `limit`, and over one in any case. Returns their duration.
    double advance_to(unsigned int limit) {
        double duration = 0;
        do {
            duration += step(limit);
        } while (has_samples() && position_ < limit);
        return track_->timescale == 0 ? 0 : duration / track_->timescale;
    }

  private:
    // One sample, or of samples of a constant size as many as lie together and last equally long.
    double step(unsigned int limit) {
        const int count = track_->sample_sizes ? 1 : equal_samples(limit);
        const unsigned int size = track_->sample_sizes ? track_->sample_sizes[sample_] : track_->sample_size;
        position_ += static_cast<unsigned int>(count) * size;
        sample_ += count;
        if (position_ >= track_->chunks[chunk_].end && ++chunk_ < track_->chunk_count) {
            position_ = track_->chunks[chunk_].start;
        }
        return pass_durations(count);
    }

    int equal_samples(unsigned int limit) const {
        int count = track_->sample_count - sample_;
        if (row_ < track_->stts_count) count = std::min(count, std::max(track_->stts[row_][0] - run_, 1));
        const unsigned int end = std::min(limit, track_->chunks[chunk_].end);
        if (end <= position_) return 1;
        const unsigned int bytes = end - position_;
        if (track_->sample_size == 0 || bytes / track_->sample_size >= static_cast<unsigned int>(count)) {
            return count;
        }
        return static_cast<int>((bytes - 1) / track_->sample_size) + 1;
    }

    // Returns the duration of samples that lie in one row; behind the table they have none.
    double pass_durations(int count) {
        if (row_ >= track_->stts_count) return 0;
        const double duration = static_cast<double>(count) * track_->stts[row_][1];
        run_ += count;
        if (run_ >= track_->stts[row_][0]) {
            run_ = 0;
            ++row_;
        }
        return duration;
    }

    const iso_track* track_;
    unsigned int position_;
    int sample_ = 0;
    int chunk_ = 0;
    int row_ = 0;  // of the time table
    int run_ = 0;  // samples of that row so far
};

std::vector<Walk> start_walks(const iso_file* file) {
    std::vector<Walk> walks;
    for (const iso_track* track = file->tracks; track; track = track->next) {
        if (track->chunk_count > 0 && track->chunks && track->sample_count > 0) walks.emplace_back(track);
    }
    return walks;
}

// The walks are a heap, the lowest position in front.
double longest_stretch(std::vector<Walk> walks) {
    const auto is_behind = [](const Walk& a, const Walk& b) { return a.position() > b.position(); };
    std::make_heap(walks.begin(), walks.end(), is_behind);
    double longest = 0;
    for (int turn = 0; walks.size() >= 2 && turn < kMostTurns; ++turn) {
        std::pop_heap(walks.begin(), walks.end(), is_behind);
        Walk& lowest = walks.back();
        longest = std::max(longest, lowest.advance_to(walks.front().position()));
        if (lowest.has_samples()) {
            std::push_heap(walks.begin(), walks.end(), is_behind);
        } else {
            walks.pop_back();
        }
    }
    return longest;
}

}  // namespace

double isoFFgetInterleave(iso_file* file) {
    if (!file) return -1.0;
    try {
        return longest_stretch(start_walks(file));
    } catch (const std::bad_alloc&) {
        return -1.0;
    }
}
