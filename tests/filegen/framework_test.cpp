// Stream primitives, the framework classes, and who owns a child.
#include <gtest/gtest.h>

#include <functional>

#include "tests/filegen/box_stream.h"
#include "tests/support/syslog_capture.h"

namespace qlip_test {
namespace {

using namespace Vorn3gp;

std::string message_of(const std::function<void()>& action) {
    try {
        action();
    } catch (const SimpleException& failure) {
        return failure.m_message;
    }
    return "nothing thrown";
}

// The debug lines of one action.
std::vector<std::string> debug_lines_of(const std::function<void()>& action) {
    syslog_lines().clear();
    sx_Debug = 4;
    action();
    sx_Debug = 3;
    std::vector<std::string> lines;
    for (const SyslogLine& line : syslog_lines())
        lines.push_back(line.text.substr(line.text.find("): ") + 3));
    return lines;
}

struct Primitive {
    Slot slot;
    std::function<void(Stream&)> call;
};

class FailingPrimitive : public testing::TestWithParam<Primitive> {};

TEST_P(FailingPrimitive, NamesItsSlotAndShowsTheRawStatus) {
    BoxStream in(Bytes(8, 1));
    in.host.fault = {GetParam().slot, 1, false, 77};
    // All but status 77 is a success to this host, and 77 means 5.
    in.stream->ConvertStatus = [](unsigned int* result, unsigned int status) {
        *result = status == 77 ? 5 : 0;
        return 0U;
    };
    in.stream->pUserContext = &in.host;
    char expected[200];
    std::snprintf(expected, sizeof expected, "IO Callback %s() failed with status: 77.  IO Context: 0x%X",
                  name_of(GetParam().slot), static_cast<unsigned int>(reinterpret_cast<uintptr_t>(&in.host)));
    EXPECT_EQ(message_of([&] { GetParam().call(in.stream); }), expected);

    in.host.fault = {GetParam().slot, in.host.calls + 1, false, 78};  // a success, in this host's words
    EXPECT_NO_THROW(GetParam().call(in.stream));
}

INSTANTIATE_TEST_SUITE_P(
    Slots, FailingPrimitive,
    testing::Values(Primitive{Slot::SeekNRead,
                              [](Stream& stream) {
                                  unsigned char byte = 0;
                                  macro_Read(stream, &byte, 1);
                              }},
                    Primitive{Slot::SeekNWrite, [](Stream& stream) { var32_write(stream, 1); }},
                    Primitive{Slot::Seek, [](Stream& stream) { macro_Seek(stream, 1); }},
                    Primitive{Slot::Seek, [](Stream& stream) { macro_SeekRel(stream, -1); }},
                    Primitive{Slot::GetOffset, [](Stream& stream) { macro_Tell(stream); }},
                    Primitive{Slot::Tell, [](Stream& stream) { GetFileSize(stream); }}));

TEST(Primitives, SwapOnlyWhereTheySaySo) {
    BoxStream in(hex("FE 8001 80000002 6D6F6F76"));
    unsigned char byte = 0;
    short half = 0;
    int word = 0;
    unsigned int raw = 0;
    var8_read(in.stream, byte);
    var16_read(in.stream, half);
    var32_read(in.stream, word);
    var32_read_noswap(in.stream, raw);
    EXPECT_EQ(byte, 0xFE);
    EXPECT_EQ(half, -32767);
    EXPECT_EQ(word, -2147483646);
    EXPECT_EQ(raw, type_word("moov"));

    BoxStream out;
    var8_write_noswap(var16_write(var32_write(out.stream, 0x01020304), 0x0506), 7);
    var32_write_noswap(out.stream, raw);
    EXPECT_EQ(out.host.bytes, hex("01020304 0506 07 6D6F6F76"));
    EXPECT_EQ(out.host.log.front().count, 4u);
}

TEST(Primitives, BytesThatDoNotArriveKeepWhatTheValueHeld) {
    BoxStream in(hex("AABB"));
    unsigned int value = 0x01020304;
    var32_read(in.stream, value);
    EXPECT_EQ(value, 0xAABB0304u);
    var32_read_noswap(in.stream, value);
    EXPECT_EQ(value, 0xAABB0304u);
}

TEST(Primitives, FileSizeLeavesThePosition) {
    BoxStream in(Bytes(11, 0));
    in.host.position = 3;
    const auto lines = debug_lines_of([&] { EXPECT_EQ(GetFileSize(in.stream), 11u); });
    EXPECT_EQ(in.host.position, 3u);
    EXPECT_EQ(lines, std::vector<std::string>{"File size is: 11 bytes\n"});
}

TEST(Primitives, DescriptorSizeEndsAfterFourBytes) {
    for (const auto& [bytes, expected, position] :
         {std::tuple("80808016", 22U, 4U), {"16", 22U, 1U}, {"FFFFFFFFFF", 0x0FFFFFFFU, 4U}}) {
        BoxStream in(hex(bytes));
        unsigned int size = 99;
        ReadDescriptorSize(in.stream, size);
        EXPECT_EQ(size, expected);
        EXPECT_EQ(in.host.position, position);
    }
}

TEST(BoxRead, BeyondTheFileThrowsAtPeekAlready) {
    BoxStream in(join({box("free"), ByteWriter().u32(9).text("free")}));
    in.host.position = 8;
    EXPECT_EQ(message_of([&] { peek_box(in.stream, 16); }),
              "Invalid size found in box.  Current file position is 8, box size is 9, total offset is 17.  "
              "File size is 16.");
}

TEST(BoxRead, SizeThatWrapsPassesAndSkipsBackwards) {
    BoxStream in(join({Bytes(16, 0), ByteWriter().u32(0xFFFFFFF8).text("free"), {0}}));
    in.host.position = 16;
    UnknownBox unknown;
    EXPECT_EQ(in.read_into(unknown).GetSizeWhole(), 0xFFFFFFF8u);
    EXPECT_EQ(in.host.position, 8u);
}

TEST(BoxRead, AtTheLimitIsResetAndReadsNothing) {
    BoxStream in(box("free", Bytes(4, 0)));
    in.host.position = 12;
    EXPECT_EQ(debug_lines_of([&] { EXPECT_EQ(peek_box(in.stream, 12), type_word("????")); }),
              std::vector<std::string>{
                  "peek_box() returning unknown box due to EOF or stream position past file size\n"});
    FtypBox ftyp;
    ftyp.size = 5;
    EXPECT_EQ(debug_lines_of([&] { ftyp.Box::Read(in.stream, 12); }),
              std::vector<std::string>{"Box::Read() resetting box...\n"});
    EXPECT_EQ(in.host.count(Slot::SeekNRead), 0u);
    EXPECT_EQ(ftyp.GetType(), type_word("????"));
    EXPECT_EQ(ftyp.GetSizeWhole(), 0u);
    EXPECT_EQ(std::streamoff(ftyp.position), 12);
}

TEST(BoxRead, AtTheEndOfTheStreamIsResetAndPeeksBack) {
    BoxStream in(box("free"));
    Box at_end;
    EXPECT_EQ(debug_lines_of([&] { at_end.Peek(in.stream, 8); }),
              std::vector<std::string>{"Box::Read() resetting box due to EOF\n"});
    EXPECT_EQ(at_end.GetType(), type_word("????"));
    EXPECT_EQ(in.host.position, 0u);
}

TEST(BoxRead, VersionOneHeadersAreReadAsVersionZero) {
    const Bytes version1 =
        full_box("mdhd", hex("0000000000000001 0000000000000002 00001F40 0000000000000003 55C40000"), 1);
    BoxStream in(version1);
    MdhdBox mdhd;
    in.read_into(mdhd);
    EXPECT_EQ(mdhd.version, 1);
    EXPECT_EQ(mdhd.modification_time, 1u);
    EXPECT_EQ(mdhd.GetTimescale(), 0u);
    EXPECT_EQ(mdhd.GetDuration(), 2u);
    EXPECT_EQ(version1.size() - in.host.position, 12u);
}

TEST(BoxRead, NewTimesAreNowSince1904) {
    const auto now = static_cast<unsigned int>(time(nullptr)) + 2082844800U;
    EXPECT_NEAR(static_cast<double>(MvhdBox().creation_time), static_cast<double>(now), 2.0);
}

// A child that counts its deletion.
template <class Child>
struct Counted : Child {
    explicit Counted(int& deletions) : deletions_(deletions) {}
    ~Counted() override { ++deletions_; }
    int& deletions_;
};

TEST(Ownership, ReplacedChildrenStayButForThoseOfMinf) {
    int kept = 0, deleted = 0, foreign = 0;
    Counted<StblBox> not_owned(foreign);
    {
        StblBox stbl;
        stbl.SetStsd(new Counted<StsdBox>(kept), true);
        stbl.SetStsd(new Counted<StsdBox>(kept), true);
        MinfBox minf;
        minf.SetStbl(new Counted<StblBox>(deleted), true);
        minf.SetStbl(&not_owned, false);
        EXPECT_EQ(deleted, 1);
        minf.SetStbl(new Counted<StblBox>(deleted), true);
        EXPECT_EQ(kept, 0);
    }
    EXPECT_EQ(kept, 1);
    EXPECT_EQ(deleted, 2);
    EXPECT_EQ(foreign, 0);
}

TEST(Ownership, OptionalBoxesAndEntriesGoWithTheirParent) {
    int deletions = 0;
    {
        MoovBox moov;
        moov.AddOptionalBox(new Counted<UnknownBox>(deletions), true);
        moov.AddTrak(new Counted<TrakBox>(deletions), true);
        StsdBox stsd;
        stsd.AddSampleEntry(new Counted<NullSampleEntry>(deletions), true);
        Simple3gp file;
        file.AddMdat(new Counted<MdatBox>(deletions), true);
        file.SetMoov(new Counted<MoovBox>(deletions), true);
    }
    EXPECT_EQ(deletions, 5);
}

TEST(Sizes, OnlyTheSampleTableCountsItsOptionalBoxes) {
    StblBox stbl;
    MoovBox moov;
    stbl.AddOptionalBox(new UnknownBox, true);
    moov.AddOptionalBox(new UnknownBox, true);
    EXPECT_EQ(stbl.GetSize(), 16u);
    EXPECT_EQ(moov.GetSize(), 8u);
}

TEST(TrackReference, HasOneIndex) {
    TrackReferenceTypeBox hint;
    hint.track_ID = 4;
    EXPECT_EQ(hint.GetTrackID(0), 4u);
    EXPECT_THROW(hint.GetTrackID(1), SimpleException);
}

// A dump of an incomplete tree ends the process in all builds.

struct Incomplete {
    const char* assertion;
    std::function<void(Stream&)> dump;
};

class IncompleteTree : public testing::TestWithParam<Incomplete> {};

TEST_P(IncompleteTree, DiesInDump) {
    BoxStream out;
    EXPECT_DEATH(GetParam().dump(out.stream), std::string("Assertion `") + GetParam().assertion + "' failed");
}

template <class Container>
Incomplete incomplete(
    const char* assertion, void (*fill)(Container&) = [](Container&) {}) {
    return {assertion, [fill](Stream& stream) {
                Container container;
                fill(container);
                container.Dump(stream);
            }};
}

INSTANTIATE_TEST_SUITE_P(
    Containers, IncompleteTree,
    testing::Values(
        incomplete<Simple3gp>("ftyp != __null"),
        incomplete<Simple3gp>("moov != __null", [](Simple3gp& file) { file.SetFtyp(new FtypBox, true); }),
        incomplete<MoovBox>("mvhd != __null"), incomplete<TrakBox>("tkhd != __null"),
        incomplete<TrakBox>("mdia != __null", [](TrakBox& trak) { trak.SetTkhd(new TkhdBox, true); }),
        incomplete<MdiaBox>("mdhd != __null"), incomplete<MinfBox>("dinf != __null"),
        incomplete<DinfBox>("dref != __null"), incomplete<EdtsBox>("elst != __null"),
        incomplete<TrefBox>("hint != __null"), incomplete<StblBox>("stsd != __null"),
        incomplete<StblBox>("stts != __null", [](StblBox& stbl) { stbl.SetStsd(new StsdBox, true); })));

}  // namespace
}  // namespace qlip_test
