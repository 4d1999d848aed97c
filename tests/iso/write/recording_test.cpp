// Random recordings.
#include "tests/support/recording.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/support/memory_host.h"

namespace qlip_test {
namespace {

// The same ones in every run.
TEST(RecordingTest, EveryListedSampleIsTheFrameThatWasGivenAndEveryTrackIsThere) {
    constexpr unsigned int kRecordings = 3000;
    std::string fault;
    unsigned int seed = 0;
    testing::internal::CaptureStdout();
    for (; seed < kRecordings && fault.empty(); ++seed) {
        std::mt19937 random(seed);
        Bytes decisions(16 + random() % (seed % 10 == 0 ? 2000 : 200));
        for (unsigned char& byte : decisions)
            byte = static_cast<unsigned char>(random());
        fault = check_recording(decisions.data(), decisions.size());
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "both passes agree";
    EXPECT_EQ(fault, "") << "recording " << seed;
}

}  // namespace
}  // namespace qlip_test
