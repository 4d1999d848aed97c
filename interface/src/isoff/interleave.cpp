// isoFFgetInterleave: how long one track's data runs in the file without another track's between.

#include <algorithm>
#include <vector>

#include "qlip/isoff.h"

namespace {

constexpr unsigned int kNowhere = 0xFFFFFFFF;

// A walk over one track's samples by file position.
struct Walk {
    const iso_track* track;
    int sample = 0;
    unsigned int position = 0;
    int chunk = 0;
    int row = 0;
    int run = 0;

    explicit Walk(const iso_track* walked) : track(walked), position(walked->chunks[0].start) {}

    bool has_samples() const { return sample < track->sample_count; }

    // Steps over a sample and returns its duration in media time.
    double step() {
        const double delta = row < track->stts_count ? track->stts[row][1] : 0;
        if (row < track->stts_count && ++run >= track->stts[row][0]) {
            run = 0;
            ++row;
        }
        position += track->sample_sizes ? track->sample_sizes[sample] : track->sample_size;
        if (chunk < track->chunk_count && position >= track->chunks[chunk].end) {
            ++chunk;
            position = chunk < track->chunk_count ? track->chunks[chunk].start : kNowhere;
        }
        ++sample;
        return delta;
    }
};

std::vector<Walk> start_walks(const iso_file* file) {
    std::vector<Walk> walks;
    for (const iso_track* track = file->tracks; track; track = track->next) {
        if (track->chunk_count > 0 && track->chunks && track->sample_count > 0) walks.emplace_back(track);
    }
    return walks;
}

// Moves the two walks with samples left and the lowest positions to the front. False with fewer than two.
bool order_lowest_two(std::vector<Walk>& walks) {
    std::erase_if(walks, [](const Walk& walk) { return !walk.has_samples(); });
    if (walks.size() < 2) return false;
    std::partial_sort(walks.begin(), walks.begin() + 2, walks.end(),
                      [](const Walk& a, const Walk& b) { return a.position < b.position; });
    return true;
}

double longest_stretch(std::vector<Walk> walks) {
    double longest = 0;
    while (order_lowest_two(walks)) {
        Walk& lowest = walks[0];
        double stretch = 0;
        do {
            stretch += lowest.step();
        } while (lowest.has_samples() && lowest.position < walks[1].position);
        if (lowest.track->timescale != 0) longest = std::max(longest, stretch / lowest.track->timescale);
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
