// Each callback failed at each call: a failure leaves as an exception that says what happened, and nothing is
// lost on the way.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/boxes/box_stream.h"
#include "tests/support/samples.h"

namespace qlip_test {
namespace {

using namespace Vorn3gp;

std::string failure_message(Slot slot, const MemoryHost& host) {
    std::ostringstream message;
    message << "IO Callback " << name_of(slot) << "() failed with status: 5.  IO Context: 0x" << std::hex
            << std::uppercase << static_cast<unsigned int>(reinterpret_cast<uintptr_t>(&host));
    return message.str();
}

class Faults : public testing::TestWithParam<std::tuple<const char*, MemoryHost::EofStyle>> {
  protected:
    const Bytes bytes = sample(std::get<0>(GetParam()));
    const MemoryHost::EofStyle style = std::get<1>(GetParam());
};

TEST_P(Faults, EveryCallbackThatFailsOnceIsNamed) {
    BoxStream whole(bytes);
    whole.host.eof_style = style;
    Simple3gp().Read(whole.stream, 0);
    ASSERT_GT(whole.host.log.size(), 500u);

    for (unsigned long call = 1; call <= whole.host.log.size(); ++call) {
        const Slot slot = whole.host.log[call - 1].slot;
        if (slot == Slot::IsEOF) continue;  // a truth value, which cannot fail
        BoxStream in(bytes);
        in.host.eof_style = style;
        in.host.fault = {std::nullopt, call};
        Simple3gp file;
        EXPECT_EQ(message_of([&] { file.Read(in.stream, 0); }), failure_message(slot, in.host));
        EXPECT_EQ(in.host.log.size(), call);
    }
}

TEST_P(Faults, EveryWriteThatFailsEndsTheDump) {
    BoxStream in(bytes);
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

INSTANTIATE_TEST_SUITE_P(
    Hosts, Faults,
    testing::Combine(testing::Values("av_h263_amrnb_hinted.3gp", "mpeg4_hinted.3gp", "h264_hinted.3gp"),
                     testing::Values(MemoryHost::EofStyle::AtEnd, MemoryHost::EofStyle::AfterShortRead)));

}  // namespace
}  // namespace qlip_test
