// Samples of random bytes against a plain model of the two working buffers, which moves every carried frame:
// truncated frames deliver what earlier ones left behind, and a negative rest wraps around.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <vector>

#include "qlip/qlip.h"
#include "tests/support/memory_host.h"
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
        const Bytes movie = build_movie(
            {.tracks = {{.samples = samples, .delta = 160, .sample_entry = samr_entry(damr(1))}}});
        MemoryHost host(movie);
        host.keep_log = false;
        mm_Interface* handle = nullptr;
        ASSERT_EQ(qlip_Open(&handle, host.record(), "ra"), 0);
        std::vector<unsigned char> chunk(QLIP_LARGEST_CHUNK);
        unsigned int size = 0;
        for (int header = 0; header < 4; ++header)
            ASSERT_EQ(qlip_ReadChunk(handle, chunk.data(), &size, false), 0);
        Model model;
        for (int frame = 0; frame < 40000; ++frame) {
            const Bytes expected = model.next(samples);
            const int status = qlip_ReadChunk(handle, chunk.data(), &size, false);
            ASSERT_EQ(status, expected.empty() ? 1 : 0) << frame;
            if (expected.empty()) break;
            ASSERT_EQ(qlip_ReadChunk(handle, chunk.data(), &size, false), 0);
            ASSERT_TRUE(std::equal(expected.begin(), expected.end(), chunk.begin() + 1)) << frame;
        }
        qlip_Close(&handle);
    }
}
