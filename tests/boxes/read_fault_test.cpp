// Each callback failed at each call: a failure leaves as an exception that says what happened, and nothing is
// lost on the way.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/boxes/box_stream.h"
#include "tests/support/movie_builder.h"

namespace qlip_test {
namespace {

using namespace Vorn3gp;

Bytes small_movie() {
    MoviePlan plan;
    plan.moov_first = true;
    plan.tracks = {
        {.handler = "soun", .id = 1, .samples = {Bytes(13, 1), Bytes(13, 2)}, .sample_entry = samr_entry()},
        {.handler = "vide",
         .id = 2,
         .samples = {Bytes(20, 3)},
         .sync = {1},
         .sample_entry = visual_entry("mp4v", 176, 144, esds(hex("000001B003")))},
        {.handler = "hint",
         .id = 3,
         .samples = {Bytes(12, 4)},
         .sample_entry = rtp_entry(1400, 90000),
         .hint_reference = 2},
    };
    return build_movie(plan);
}

std::string failure_message(Slot slot, const MemoryHost& host) {
    std::ostringstream message;
    message << "IO Callback " << name_of(slot) << "() failed with status: 5.  IO Context: 0x" << std::hex
            << std::uppercase << static_cast<unsigned int>(reinterpret_cast<uintptr_t>(&host));
    return message.str();
}

class Faults : public testing::TestWithParam<MemoryHost::EofStyle> {};

TEST_P(Faults, EveryCallbackThatFailsOnceIsNamed) {
    const Bytes bytes = small_movie();
    BoxStream whole(bytes);
    whole.host.eof_style = GetParam();
    Simple3gp().Read(whole.stream, 0);
    ASSERT_GT(whole.host.log.size(), 500u);

    for (unsigned long call = 1; call <= whole.host.log.size(); ++call) {
        const Slot slot = whole.host.log[call - 1].slot;
        if (slot == Slot::IsEOF) continue;  // a truth value, which cannot fail
        BoxStream in(bytes);
        in.host.eof_style = GetParam();
        in.host.fault = {std::nullopt, call};
        Simple3gp file;
        EXPECT_EQ(message_of([&] { file.Read(in.stream, 0); }), failure_message(slot, in.host));
        EXPECT_EQ(in.host.log.size(), call);
    }
}

TEST_P(Faults, EveryWriteThatFailsEndsTheDump) {
    BoxStream in(small_movie());
    Simple3gp file;
    file.Read(in.stream, 0);
    BoxStream whole;
    file.Dump(whole.stream);
    for (unsigned long call = 1; call <= whole.host.calls; call += 7) {
        BoxStream out;
        out.host.fault = {std::nullopt, call};
        EXPECT_EQ(message_of([&] { file.Dump(out.stream); }),
                  failure_message(whole.host.log[call - 1].slot, out.host));
        EXPECT_EQ(out.host.calls, call);
    }
}

INSTANTIATE_TEST_SUITE_P(Hosts, Faults,
                         testing::Values(MemoryHost::EofStyle::AtEnd, MemoryHost::EofStyle::AfterShortRead));

}  // namespace
}  // namespace qlip_test
