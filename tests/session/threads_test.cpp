// Sessions side by side on several threads. Under ThreadSanitizer this shows that they share nothing.
#include <gtest/gtest.h>

#include <thread>

#include "qlip/SimpleException.h"
#include "tests/session/player.h"
#include "tests/support/samples.h"

namespace qlip_test {
namespace {

constexpr int kThreads = 4, kRounds = 4;

int blocks_of(const Bytes& file) {
    const int before = malloccount + freecount;
    {
        MemoryHost host(file);
        Player(host, "rv").rest();
    }
    return malloccount + freecount - before;
}

TEST(Threads, SessionsSideBySideDeliverTheSameAndCountEveryBlock) {
    const Bytes file = sample(sample_names().front());
    MemoryHost host(file);
    const std::vector<Bytes> want = Player(host, "rv").rest();
    const int once = blocks_of(file);
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

}  // namespace
}  // namespace qlip_test
