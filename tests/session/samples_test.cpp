// Whole sample files: the count of memory blocks, and sessions side by side.
#include <gtest/gtest.h>

#include <thread>

#include "qlip/SimpleException.h"
#include "session/session.h"
#include "tests/session/player.h"
#include "tests/session/sample_cases.h"
#include "tests/support/samples.h"

using namespace qlip_test;

namespace {

class Sample : public testing::TestWithParam<SampleCase> {};

INSTANTIATE_TEST_SUITE_P(All, Sample, testing::ValuesIn(sample_cases()), sample_case_name);

int blocks_of_a_session(const Bytes& file) {
    const int before = malloccount + freecount;
    MemoryHost host(file);
    Player(host, "rv").rest();
    return malloccount + freecount - before;
}

}  // namespace

// What a session adds to the file, such as room for MPEG-4 configurations, is counted back as well.
TEST_P(Sample, ASessionLeavesNoMoreBlocksUncountedThanItsFile) {
    MemoryHost host(sample(GetParam().file));
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* io = host.record();
    char read[] = "r";
    const int before = malloccount - freecount;
    isoFFclose(isoFFopen(io, read, nullptr));
    const int of_file = malloccount - freecount - before;
    MemoryHost fresh(sample(GetParam().file));
    { EXPECT_GT(Player(fresh, GetParam().mode).rest().size(), 0U); }
    EXPECT_LE(malloccount - freecount - before, 2 * of_file);
}

// Under ThreadSanitizer this shows that sessions share nothing.
TEST(Threads, SessionsSideBySideDeliverTheSameAndCountEveryBlock) {
    constexpr int kThreads = 4, kRounds = 4;
    const Bytes file = sample(sample_names().front());
    MemoryHost host(file);
    const std::vector<Bytes> want = Player(host, "rv").rest();
    const int once = blocks_of_a_session(file);
    const int before = malloccount + freecount;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, indexed = i % 2 == 0] {
            for (int round = 0; round < kRounds; ++round) {
                MemoryHost own(file);
                EXPECT_EQ(Player(own, "rv", indexed).rest(), want);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(malloccount + freecount - before, kThreads * kRounds * once);
}
