// Every callback failed at every call, over every sample; before that, none.
#include <gtest/gtest.h>

#include "tests/session/player.h"
#include "tests/session/sample_cases.h"
#include "tests/support/samples.h"

using namespace qlip_test;

namespace {

// Calls are failed one by one; a sanitizer build, ten times slower, takes every seventh.
#if defined(__SANITIZE_ADDRESS__)
constexpr size_t kStride = 7;
#else
constexpr size_t kStride = 1;
#endif

struct Disturbed {
    std::vector<Bytes> chunks;
    int status = 0;  // of the call that the fault hit
    size_t hit = 0;  // chunks delivered before it
    int end = 0;
};

// Plays on through statuses 17 and 2. A status of 2 comes with a good chunk when it is the progress report's.
Disturbed play_on(Player& player, MemoryHost& host, bool chunk_with_failure) {
    Disturbed result;
    player.check_guard = false;
    host.keep_log = false;
    for (;;) {
        const Player::Step step = player.read();
        result.end = step.status;
        if (step.status == QLIP_END_OF_FILE || result.chunks.size() > 100000) return result;
        if (step.status != QLIP_SUCCESS) {
            result.status = step.status;
            result.hit = result.chunks.size();
            if (step.status == QLIP_FAILURE && !chunk_with_failure) return result;
        }
        if (step.status == QLIP_SUCCESS) result.chunks.push_back(step.bytes);
        if (step.status == QLIP_FAILURE) result.chunks.push_back(player.accept());
    }
}

// The calls that each chunk makes in an undisturbed run, after open.
struct Undisturbed {
    std::vector<Bytes> chunks;
    std::vector<MemoryHost::Call> log;
    std::vector<size_t> calls_before;  // of each chunk
};

Undisturbed play_through(const Bytes& file, const char* mode, bool indexed) {
    MemoryHost host(file);
    Player player(host, mode, indexed);
    host.clear_log();
    Undisturbed result;
    for (;;) {
        result.calls_before.push_back(host.log.size());
        const Player::Step step = player.read();
        if (step.status != QLIP_SUCCESS) break;
        result.chunks.push_back(step.bytes);
    }
    result.log = host.log;
    return result;
}

// Whether call `i` tells the host about progress rather than fetching data.
bool is_report(const Undisturbed& run, size_t i, bool indexed) {
    if (indexed) return run.log[i].slot == Slot::AdvanceRead;
    const bool read_follows = i + 1 < run.log.size() && run.log[i + 1].slot == Slot::SeekNRead;
    return run.log[i].slot == Slot::Seek && !read_follows;
}

size_t chunk_of_call(const Undisturbed& run, size_t call) {
    size_t chunk = 0;
    while (chunk + 1 < run.calls_before.size() && run.calls_before[chunk + 1] <= call)
        ++chunk;
    return chunk;
}

class Fault : public testing::TestWithParam<SampleCase> {
  protected:
    // Plays anew for each `step`-th call from `first` on, which fails in that run.
    template <typename Test>
    void fail_each_call(const Undisturbed& run, bool indexed, size_t first, size_t step,
                        MemoryHost::Fault fault, Test test) {
        for (size_t call = first; call < run.log.size(); call += step) {
            SCOPED_TRACE(call);
            MemoryHost host(file);
            Player player(host, GetParam().mode, indexed);
            host.clear_log();
            fault.call = call + 1;
            host.fault = fault;
            test(player, host, call);
            if (HasFatalFailure()) return;
        }
    }

    const Bytes file = sample(GetParam().file);
};

INSTANTIATE_TEST_SUITE_P(Samples, Fault, testing::ValuesIn(sample_cases()), sample_case_name);

}  // namespace

TEST_P(Fault, NoneGivesTheSameStreamInBothReadModes) {
    const Undisturbed positioned = play_through(file, GetParam().mode, false);
    EXPECT_GT(positioned.chunks.size(), 20U);
    EXPECT_TRUE(play_through(file, GetParam().mode, true).chunks == positioned.chunks);
}

TEST_P(Fault, DuringOpenGivesASessionOrAStatusAndNothingWorse) {
    unsigned long calls = 0;
    {
        MemoryHost host(file);
        const Player player(host, GetParam().mode);
        calls = host.calls;
    }
    for (MemoryHost::Fault fault :
         {MemoryHost::Fault{}, {.slot = {}, .for_ever = true}, {.slot = {}, .thrown = true}}) {
        for (fault.call = 1; fault.call <= calls; ++fault.call) {
            MemoryHost host(file);
            host.fault = fault;
            Player player(host, GetParam().mode);
            EXPECT_TRUE(player.opened == 0 || player.opened == 2) << fault.call << " gave " << player.opened;
            EXPECT_EQ(player.handle != nullptr, player.opened == 0);
            host.fault.reset();
            if (player.opened == 0) play_on(player, host, false);
        }
    }
}

// Without hints every sample is read once, so nothing is lost but a first video frame's record, which
// hand-made files test. A replayed frame starts anew after 17: packets that it had gathered are gone,
// everything else is as it was.
TEST_P(Fault, WhileReadingCostsNothingOrTheReplayedFrameInHand) {
    const bool hinted = GetParam().hinted, audio = GetParam().mode[1] == 'a';
    for (const bool indexed : {false, true}) {
        if (hinted && !indexed) continue;
        const Undisturbed run = play_through(file, GetParam().mode, indexed);
        const size_t first = hinted ? run.calls_before[2] : 0;
        fail_each_call(run, indexed, first, kStride, {}, [&](Player& player, MemoryHost& host, size_t call) {
            const bool report = is_report(run, call, indexed);
            const size_t chunk = chunk_of_call(run, call);
            if (!hinted && !audio && chunk == 1 && !report) return;
            Disturbed result = play_on(player, host, report);
            ASSERT_EQ(result.status, report ? 2 : 17);
            ASSERT_EQ(result.end, 1);
            ASSERT_EQ(result.chunks.size(), run.chunks.size());
            if (hinted) {
                Bytes& body = result.chunks[result.hit + 1];
                const Bytes& whole = run.chunks[result.hit + 1];
                ASSERT_LE(body.size(), whole.size());
                ASSERT_TRUE(std::equal(body.begin() + 8, body.end(),
                                       whole.end() - static_cast<long>(body.size()) + 8));
                result.chunks[result.hit] = run.chunks[result.hit];
                body = whole;
            } else {
                ASSERT_EQ(result.hit, chunk);
            }
            ASSERT_TRUE(result.chunks == run.chunks);
        });
    }
}

// A host of C++ whose callbacks throw, in every kind of chunk that makes any, and one that never comes back:
// there is a status, again and again. What comes behind a throw is the host's risk.
TEST_P(Fault, ThatIsThrownOrStaysEndsInAStatusAndTheSessionLives) {
    for (const auto& [indexed, thrown] :
         {std::pair(false, false), {false, true}, {true, false}, {true, true}}) {
        Undisturbed run = play_through(file, GetParam().mode, indexed);
        if (thrown) run.log.resize(std::min<size_t>(run.log.size(), 60));
        fail_each_call(
            run, indexed, 0, thrown ? 1 : 7 * kStride, {.slot = {}, .for_ever = !thrown, .thrown = thrown},
            [&, threw = thrown](Player& player, MemoryHost&, size_t call) {
                const size_t chunks = player.rest().size();
                const int after = player.read_raw();
                EXPECT_NE(after, QLIP_BAD_ARGUMENT);
                if (threw) {
                    EXPECT_EQ(std::pair(chunks, player.end), std::pair(chunk_of_call(run, call), 2));
                    EXPECT_TRUE(after == QLIP_SUCCESS || after == QLIP_FAILURE) << after;
                } else {
                    EXPECT_TRUE(player.end == 1 || player.end == 2 || player.end == 17) << player.end;
                }
            });
    }
}
