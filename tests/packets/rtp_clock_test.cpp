// The clock in whole units against the clock in doubles.
#include <gtest/gtest.h>

#include "formats/amr.h"
#include "formats/rtp.h"

namespace qlip_test {
namespace {

// A step depends on where the clock stands only by whether it passes 2^32 - 1, so that all positions from
// which it can, and as many at the start, stand for all.
TEST(RtpClock, InWholeUnitsIsThatInDoublesAtEveryStep) {
    for (const uint32_t step : {uint32_t{qlip::kNarrowbandTicks}, uint32_t{qlip::kWidebandTicks}}) {
        for (uint32_t from = 0 - 4 * step; from != 4 * step; ++from) {
            uint32_t whole = from;
            double real = from;
            for (int i = 0; i < 10; ++i)
                ASSERT_EQ(qlip::take_timestamp(whole, step), qlip::take_timestamp(real, step)) << from;
            ASSERT_EQ(whole, real) << from;
        }
    }
}

}  // namespace
}  // namespace qlip_test
