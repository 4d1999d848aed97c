// The stream of every hinted sample is one and the same, however it is read.
#include <gtest/gtest.h>

#include "tests/second_reader/reader_support.h"
#include "tests/support/samples.h"

namespace qlip_test {
namespace {

class EveryTrack : public testing::TestWithParam<std::pair<const char*, const char*>> {};

INSTANTIATE_TEST_SUITE_P(
    Samples, EveryTrack,
    testing::Values(std::pair("amrnb_hinted.3gp", "ra"), std::pair("av_h263_amrnb_hinted.3gp", "ra"),
                    std::pair("av_h263_amrnb_hinted.3gp", "rv"), std::pair("h263_hinted_pt34.3gp", "rv"),
                    std::pair("h263_hinted_pt96.3gp", "rv"), std::pair("mpeg4_hinted.3gp", "rv")));

TEST_P(EveryTrack, IsTheSameInEveryReadModeAndInRequestsOfAnySize) {
    const auto& [name, mode] = GetParam();
    const Bytes file = sample(name);
    const Bytes whole = whole_stream(file, mode);
    ASSERT_GT(frames_of(whole).size(), 3U);
    for (const unsigned int size : {1U, 7U, 333U, 1400U, 1U << 20}) {
        for (const int indexed : {0b00, 0b11, 0b10}) {  // never, always, every other call
            OpenReader open(file, mode);
            Delivery all;
            for (int call = 0; all.status == 0; ++call)
                all += read_chunk(*open.reader, size, indexed >> call % 2 & 1);
            EXPECT_EQ(all, (Delivery{1, whole})) << "requests of " << size;
            EXPECT_EQ(read_chunk(*open.reader, size, indexed != 0), (Delivery{1, {}}));
            EXPECT_EQ(read_chunk(*open.reader, 0, indexed != 0), (Delivery{0, {}}));
        }
    }
}

}  // namespace
}  // namespace qlip_test
