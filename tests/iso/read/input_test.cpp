// Arena and byte-level input.
#include <gmock/gmock.h>

#include <array>

#include "iso/read/stream_input.h"
#include "qlip/SimpleException.h"
#include "tests/iso/opened_file.h"

namespace qlip_test {
namespace {

struct ArenaFile {
    ~ArenaFile() { safefree(reinterpret_cast<char*>(file.arena_head)); }
    iso_file file{};
};

TEST(Arena, RoundsStrictlyUpToEightAndTakesOwnChunksForWhatAStandardOneCannotHold) {
    for (const auto& [size, taken] : {std::pair{0, 8}, {7, 8}, {8, 16}, {9, 16}, {15, 16}, {16, 24}}) {
        ArenaFile a;
        isoFFmalloc(&a.file, 1);
        const int before = a.file.arena_left;
        ASSERT_NE(isoFFmalloc(&a.file, size), nullptr);
        EXPECT_EQ(before - a.file.arena_left, taken) << size;
    }
    // The largest block of a standard chunk fills it; the next size needs a chunk of 2048008 bytes.
    for (const int size : {2047984, 2047992, 5000000}) {
        ArenaFile a;
        isoFFmalloc(&a.file, 8);
        EXPECT_EQ(a.file.arena_left, 2048000 - 8 - 16);
        const auto* block = static_cast<unsigned char*>(isoFFmalloc(&a.file, size));
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(block[0] | block[size - 1], 0);
        EXPECT_EQ(a.file.arena_chunks, 2);
        EXPECT_EQ(a.file.arena_left, 0);
    }
}

TEST(Arena, GivesNothingTwiceAndCountsBlocks) {
    ArenaFile a;
    auto* first = static_cast<unsigned char*>(isoFFmalloc(&a.file, 100));
    const int blocks = malloccount - freecount;
    isoFFfree(first);
    EXPECT_EQ(malloccount - freecount, blocks - 1);
    EXPECT_GE(static_cast<unsigned char*>(isoFFmalloc(&a.file, 100)), first + 104);
    ASSERT_EQ(getChunk(&a.file, 4096), 1);
    EXPECT_EQ(a.file.arena_left, 4088) << "the rest of the chunk ahead is left";
    for (const int size : {-1, 0x7FFFFFFF})
        EXPECT_EQ(isoFFmalloc(&a.file, size), nullptr);
    const int counted = malloccount;
    EXPECT_EQ(systemmalloc(&a.file, -1), nullptr);
    EXPECT_EQ(malloccount, counted + 1) << "a failed one counts as well";
}

// The same bytes through the buffer and through the host.
TEST(Primitives, ReadBigEndianFieldsInOrder) {
    for (const bool buffered : {false, true}) {
        MemoryHost host(hex("11 2233 445566 778899AA 61766331 808005 010203"));
        iso_file file{};
        file.io = host.record();
        file.in_buffer = buffered;
        file.buffer_next = host.bytes.data();
        file.buffer_left = static_cast<int>(host.bytes.size());
        const int fields[] = {getbyte(&file), getint16(&file), getint24(&file), getint32(&file)};
        EXPECT_THAT(fields, testing::ElementsAre(0x11, 0x2233, 0x445566, static_cast<int>(0x778899AA)));
        char type[5] = "****";
        getID(&file, type);
        EXPECT_STREQ(type, "avc1");
        int length = 0;
        EXPECT_EQ(getxlen(&file, &length), 3);
        EXPECT_EQ(length, 5);
        std::array<unsigned char, 2> bytes{};
        EXPECT_EQ(getbytes(&file, bytes.data(), 2), 2);
        EXPECT_EQ(bytes[1], 2);
        EXPECT_EQ(skip(&file, 1), 1);
        EXPECT_EQ(getbyte(&file), 0) << "behind the end";
    }
}

TEST(StreamInput, GivesMinusOneForAFailedReadAndNoticesAShortOneOnlyForWords) {
    MemoryHost host(hex("AB"));
    iso_file file{};
    file.io = host.record();
    EXPECT_EQ(getint16(&file), 0xAB00);
    host.position = 0;
    EXPECT_EQ(getint32(&file), -1);
    host.fault = MemoryHost::Fault{Slot::SeekNRead, 1, true};
    int length = 0;
    EXPECT_EQ(getbyte(&file), 0);
    EXPECT_EQ(getint16(&file), -1);
    EXPECT_EQ(getint24(&file), -1);
    EXPECT_EQ(getbytes(&file, &length, 1), -1);
    EXPECT_EQ(getxlen(&file, &length), -1);
}

TEST(StreamInput, SkipsBySeekingAndElseByReading) {
    MemoryHost host(Bytes(3000, 1));
    iso_file file{};
    file.io = host.record();
    EXPECT_EQ(skip(&file, 10), 1);
    EXPECT_EQ(host.position, 10U);
    host.fault = MemoryHost::Fault{Slot::Seek, 1, true};
    host.clear_log();
    EXPECT_EQ(skip(&file, 2500), 1);
    EXPECT_EQ(host.position, 2510U);
    EXPECT_EQ(host.count(Slot::SeekNRead), 3U) << "pieces of 1024";
    EXPECT_EQ(skip(&file, 1000), 0) << "the stream ends before";
    host.fault = MemoryHost::Fault{Slot::GetOffset, 1, true};
    host.clear_log();
    EXPECT_EQ(skip(&file, 1), -1);
}

TEST(MoovBuffer, PrintsALineAndChangesNothingBeyondItsEnd) {
    Bytes bytes = hex("010203");
    iso_file file{};
    file.in_buffer = 1;
    file.buffer_next = bytes.data();
    file.buffer_left = 3;
    char id[5] = "keep";
    testing::internal::CaptureStdout();
    getID(&file, id);
    seek_buf(&file, 5);
    EXPECT_EQ(getint32(&file), 0) << "missing bytes of a number are zero";
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "read_buf, EOF 3 left, 4 requested\nseek_buf, EOF 3 left, 5 requested\n"
              "read_buf, EOF 3 left, 4 requested\n");
    EXPECT_STREQ(id, "keep");
    EXPECT_EQ(getint24(&file), 0x010203);
    EXPECT_EQ(file.buffer_left, 0);
}

TEST(MediaImage, ReadsAndSeeksWithinItsBounds) {
    Bytes image = hex("00010203040506070809");
    iso_file file{};
    file.mdat_image = image.data();
    file.mdat_start = 100;
    file.mdat_end = 110;
    std::array<unsigned char, 16> to{};
    EXPECT_EQ(mseek(&file, 110, SEEK_SET), -1);
    EXPECT_EQ(mread(to.data(), 1, 1, &file), 0U) << "position 0 lies ahead of it";
    EXPECT_EQ(mseek(&file, 100, SEEK_SET), 0);
    EXPECT_EQ(mseek(&file, -1, SEEK_CUR), -1);
    EXPECT_EQ(mseek(&file, 5, SEEK_CUR), 0);
    EXPECT_EQ(mread(to.data(), 2, 2, &file), 4U);
    EXPECT_EQ(to[3], 8);
    EXPECT_EQ(file.position, 105U) << "reading does not move";
    EXPECT_EQ(mread(to.data(), 4, 4, &file), 5U);
    EXPECT_EQ(mseek(&file, -1, SEEK_END), 0);
    EXPECT_EQ(file.position, 109U);
    EXPECT_EQ(mseek(&file, 0, SEEK_END), -1);
    EXPECT_EQ(mseek(&file, 100, 3), -1);
}

}  // namespace
}  // namespace qlip_test
