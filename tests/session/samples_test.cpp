// Sessions side by side, and the count of memory blocks, which they share.
#include <gtest/gtest.h>

#include <thread>

#include "qlip/SimpleException.h"
#include "tests/session/player.h"
#include "tests/support/samples.h"

using namespace qlip_test;

// Under ThreadSanitizer this shows that sessions share nothing. What a session adds to its file, such as room
// for MPEG-4 configurations, is counted back as well; the moov buffer alone belongs to nobody's list.
TEST(Threads, SessionsSideBySideDeliverTheSameAndCountEveryBlock) {
    constexpr int kThreads = 4, kRounds = 4;
    const Bytes file = sample("mpeg4_hinted.3gp");
    int taken = malloccount, given_back = freecount;
    std::vector<Bytes> want;
    {
        MemoryHost host(file);
        want = Player(host, "rv").rest();
    }
    const int taken_once = malloccount - taken, given_back_once = freecount - given_back;
    EXPECT_GT(want.size(), 20U);
    EXPECT_EQ(taken_once - given_back_once, 1);
    taken = malloccount, given_back = freecount;
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
    EXPECT_EQ(malloccount - taken, kThreads * kRounds * taken_once);
    EXPECT_EQ(freecount - given_back, kThreads * kRounds * given_back_once);
}
