// Samples of random bytes against a plain model of the two working buffers, which moves every carried frame:
// truncated frames deliver what earlier ones left behind, and a negative rest wraps around.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <vector>

#include "tests/session/player.h"
#include "tests/support/movie_builder.h"

using namespace qlip_test;

namespace {

constexpr size_t kBuffer = 64000;

// Payload chunks of AMR-NB frames, without their CMR byte.
class Model {
  public:
    Bytes next(const std::vector<Bytes>& samples) {
        size_t held = carried_;
        if (held != 0) {
            std::memmove(&memory_[1], &memory_[kBuffer], std::min(held, kBuffer));
        } else {
            if (sample_ == samples.size()) return {};
            const Bytes& sample = samples[sample_++];
            std::copy(sample.begin(), sample.end(), memory_.begin() + 1);
            held = sample.size();
        }
        constexpr std::array<size_t, 16> kFrame = {13, 14, 16, 18, 20, 21, 27, 32, 6, 1, 1, 1, 1, 1, 1, 1};
        const size_t frame = kFrame[(memory_[1] >> 3) & 15];
        if (held > frame)
            std::memmove(&memory_[kBuffer], &memory_[1 + frame], std::min(held - frame, kBuffer));
        carried_ = static_cast<unsigned short>(held - frame);
        return {memory_.begin() + 1, memory_.begin() + 1 + static_cast<ptrdiff_t>(frame)};
    }

  private:
    std::vector<unsigned char> memory_ = std::vector<unsigned char>(2 * kBuffer);
    size_t carried_ = 0;
    size_t sample_ = 0;
};

std::vector<Bytes> random_samples(std::mt19937& random) {
    std::vector<Bytes> samples(60);
    for (Bytes& sample : samples) {
        sample.resize(random() % (random() % 8 == 0 ? 40000 : 200));
        if (random() % 8 == 0) sample.clear();
        for (unsigned char& byte : sample)
            byte = static_cast<unsigned char>(random());
    }
    return samples;
}

}  // namespace

TEST(CarriedFrames, AreDeliveredAsIfEachHadMovedTheOthers) {
    std::mt19937 random(1);
    for (int run = 0; run < 4; ++run) {
        const std::vector<Bytes> samples = random_samples(random);
        MemoryHost host(build_movie({.tracks = {speech_track(samples)}}));
        host.keep_log = false;
        Player player(host, "ra");
        player.check_guard = false;
        for (int header = 0; header < 4; ++header)
            player.read();
        Model model;
        for (int frame = 0; frame < 40000; ++frame) {
            const Bytes expected = model.next(samples);
            ASSERT_EQ(player.read().status, expected.empty() ? 1 : 0) << frame;
            if (expected.empty()) break;
            const Bytes got = player.read().bytes;
            ASSERT_TRUE(std::equal(got.begin() + 1, got.end(), expected.begin(), expected.end())) << frame;
        }
    }
}
