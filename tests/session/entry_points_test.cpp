// Argument checks of the C entry points, in their order, and the status texts.
#include <gtest/gtest.h>

#include "qlip/qlip.h"
#include "tests/support/movie_builder.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

using namespace qlip_test;

namespace {

Bytes speech_movie() {
    return build_movie({.tracks = {speech_track({Bytes(32, 0x3C)})}});
}

// An open that is refused for its arguments leaves the parsed file behind: kept. The leak is this test's.
int refused_open(mm_Interface** handle, _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* io, const char* mode) {
#if defined(__SANITIZE_ADDRESS__)
    __lsan_disable();
#endif
    const int status = qlip_Open2(handle, io, mode, 0);
#if defined(__SANITIZE_ADDRESS__)
    __lsan_enable();
#endif
    return status;
}

mm_Interface* const kSomeHandle = reinterpret_cast<mm_Interface*>(0x10);

}  // namespace

TEST(Open, ChecksHandleThenRecordThenModeOnceTheFileIsReadAndLeavesTheHandleAlone) {
    mm_Interface* handle = kSomeHandle;
    EXPECT_EQ(refused_open(nullptr, nullptr, nullptr), 5);
    EXPECT_EQ(refused_open(&handle, nullptr, nullptr), 13);
    for (int slot = 0; slot < 10; ++slot) {
        SCOPED_TRACE(slot);
        MemoryHost host(speech_movie());
        auto record = *host.record();
        if (slot < 9) reinterpret_cast<void**>(&record)[1 + slot] = nullptr;
        EXPECT_EQ(refused_open(nullptr, &record, "ra"), 5);
        EXPECT_EQ(refused_open(&handle, &record, nullptr), slot < 9 ? 13 : 7);
        const bool parser_needs_it = static_cast<Slot>(slot) == Slot::SeekNRead;
        EXPECT_EQ(host.count(Slot::SeekNRead) > 0, !parser_needs_it);
    }
    EXPECT_EQ(handle, kSomeHandle);
}

TEST(Open, TakesAContextOfNull) {
    auto record = *MemoryHost().record();
    record.pUserContext = nullptr;
    record.SeekNRead = [](void* context, unsigned char*, unsigned int*, unsigned int) {
        EXPECT_EQ(context, nullptr);
        return 1U;
    };
    mm_Interface* handle = nullptr;
    EXPECT_EQ(qlip_Open(&handle, &record, "ra"), 2) << "an empty file, not a bad argument";
}

TEST(Open, LeavesTheHostAtTheStartWhateverTheFourthArgumentAndThatSeekSays) {
    for (const int fourth : {0, -1, 20480}) {
        MemoryHost host(speech_movie());
        mm_Interface* handle = nullptr;
        ASSERT_EQ(qlip_Open2(&handle, host.record(), "ra", fourth), 0);
        EXPECT_EQ(host.position, 0U);
        EXPECT_EQ(host.log.back(), (MemoryHost::Call{Slot::Seek, 0, 0, 0, 0}));
        const unsigned long last_call = host.calls;
        EXPECT_EQ(qlip_Close(&handle), 0);
        host.clear_log();
        host.position = 0;
        host.fault = MemoryHost::Fault{.slot = {}, .call = last_call};
        EXPECT_EQ(qlip_Open2(&handle, host.record(), "ra", fourth), 0);
        EXPECT_EQ(qlip_Close(&handle), 0);
    }
}

TEST(Session, CallsCheckTheirArgumentsInOrderAndClosingTwiceIsHarmless) {
    MemoryHost host(speech_movie());
    mm_Interface* handle = nullptr;
    ASSERT_EQ(qlip_Open(&handle, host.record(), "ra"), 0);
    unsigned char buffer[64] = {};
    unsigned int word = 77;
    auto* params = reinterpret_cast<_TAG_QLIP_SEEK_PARAMS*>(buffer);
    EXPECT_EQ(qlip_SeekTo(nullptr, nullptr), 5);
    EXPECT_EQ(qlip_SeekTo(handle, nullptr), 13);
    EXPECT_EQ(qlip_SeekTo(handle, params), 10);
    EXPECT_EQ(qlip_GetIOCallbackStatus(nullptr, nullptr), 5);
    EXPECT_EQ(qlip_GetIOCallbackStatus(handle, nullptr), 13);
    EXPECT_EQ(qlip_GetIOCallbackStatus(handle, &word), 0);
    EXPECT_EQ(qlip_ReadChunk(nullptr, nullptr, nullptr, false), 5);
    EXPECT_EQ(qlip_ReadChunk(handle, nullptr, &word, false), 13);
    EXPECT_EQ(qlip_ReadChunk(handle, buffer, nullptr, false), 13);
    EXPECT_EQ(qlip_ReadChunk(handle, buffer, &word, false), 0) << "the refused calls moved nothing";
    EXPECT_EQ(buffer[0], 'A');
    EXPECT_EQ(word, 77U) << "neither a status nor a length is stored";
    EXPECT_EQ(qlip_Close(nullptr), 5);
    EXPECT_EQ(qlip_Close(&handle), 0);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(qlip_Close(&handle), 0);
}

TEST(StatusString, KnowsTheTableAndNothingElse) {
    EXPECT_STREQ(qlip_StatusString(0), "Success");
    EXPECT_STREQ(
        qlip_StatusString(16),
        "Problem with IO Stream callback interface read - call qlip_GetIOCallbackStatus for more info");
    EXPECT_STREQ(qlip_StatusString(19), "Invalid Seek Flags supplied");
    for (const int status : {-1, 20, 23, 24, 25, 0x7FFFFFFF})
        EXPECT_STREQ(qlip_StatusString(status), "Unknown status") << status;
}
