// Stream primitives, the framework classes, and who owns a child.
#include <gtest/gtest.h>

#include <functional>

#include "tests/boxes/box_stream.h"
#include "tests/support/limited_host.h"
#include "tests/support/syslog_capture.h"

namespace qlip_test {
namespace {

using namespace Vorn3gp;

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

TEST(Primitives, StatusMeansWhatTheHostSaysAndIsShownRaw) {
    BoxStream in(Bytes(8, 1));
    in.stream->ConvertStatus = [](unsigned int* result, unsigned int status) {
        *result = status == 77 ? 5 : 0;
        return 0U;
    };
    in.host.fault = {Slot::GetOffset, 1, false, 78};
    EXPECT_NO_THROW(macro_Tell(in.stream));
    in.host.fault = {Slot::GetOffset, 2, false, 77};
    EXPECT_EQ(message_of([&] { macro_Tell(in.stream); }).substr(0, 51),
              "IO Callback GetOffset() failed with status: 77.  IO");
}

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
    EXPECT_EQ(peek_box(in.stream, 12), type_word("????"));
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

// Callbacks as letters: O GetOffset, S Seek, R SeekNRead, T Tell, E IsEOF.
std::string calls_of(const MemoryHost& host) {
    std::string letters;
    for (const MemoryHost::Call& call : host.log)
        letters += "OSRWTE"[static_cast<int>(call.slot)];
    return letters;
}

TEST(RootRead, AsksInThisOrderAndSaysWhatItMakes) {
    BoxStream in(join({box("ftyp", Bytes(8)), box("moov"), box("free", {1}), box("mdat", {1})}));
    Simple3gp file;
    EXPECT_EQ(debug_lines_of([&] { file.Read(in.stream, 0); }),
              (std::vector<std::string>{
                  "File size is: 42 bytes\n", "Simple3gp::Read() Creating FtypBox\n",
                  "Simple3gp::Read() Creating MoovBox\n", "Simple3gp::Read() Creating UnknownBox\n",
                  "Simple3gp::Read() Creating MdatBox\n",
                  "peek_box() returning unknown box due to EOF or stream position past file size\n"}));
    const std::string peek = "OORRES", next = "EO", header = "ORRE", skip = "SOS";
    EXPECT_EQ(calls_of(in.host), "OTS" + peek + next + header + "RR" + peek + next + "O" + header + "O" +
                                     peek + next + header + skip + peek + next + header + skip + "O" + "E");
}

// A child that counts its deletion.
template <class Child>
struct Counted : Child {
    explicit Counted(int& deletions) : deletions_(deletions) {}
    ~Counted() override { ++deletions_; }
    int& deletions_;
};

TEST(Ownership, ReplacedChildrenStayAsLongAsTheirOwnerButForThoseOfMinf) {
    int kept = 0, deleted = 0, moved = 0;
    Counted<StblBox> not_owned(deleted);
    StblBox other;
    for (int i = 0; i < 2; ++i)
        other.SetStsd(new Counted<StsdBox>(moved), true);
    {
        StblBox stbl;
        for (int i = 0; i < 3; ++i)
            stbl.SetStsd(new Counted<StsdBox>(kept), true);
        auto* const freed_by_its_holder = new Counted<SttsBox>(kept);
        stbl.SetStts(freed_by_its_holder, true);
        auto* const taken_elsewhere = new Counted<SttsBox>(moved);
        stbl.SetStts(taken_elsewhere, true);
        stbl.SetStts(nullptr, false);
        delete freed_by_its_holder;
        other.SetStts(taken_elsewhere, true);
        MinfBox minf;
        minf.SetStbl(new Counted<StblBox>(deleted), true);
        minf.SetStbl(&not_owned, false);
        EXPECT_EQ(deleted, 1);
        minf.SetStbl(new Counted<StblBox>(deleted), true);
        EXPECT_EQ(kept, 1);
    }
    EXPECT_EQ(kept, 4);
    EXPECT_EQ(deleted, 2);
    EXPECT_EQ(moved, 0);
}

TEST(Ownership, OptionalBoxesAndEntriesGoWithTheirParent) {
    int deletions = 0;
    {
        StsdBox stsd;
        stsd.AddSampleEntry(new Counted<NullSampleEntry>(deletions), true);
        Simple3gp file;
        file.AddOptionalBox(new Counted<UnknownBox>(deletions), true);
        file.AddMdat(new Counted<MdatBox>(deletions), true);
        file.SetMoov(new Counted<MoovBox>(deletions), true);
        file.GetMoov()->AddTrak(new Counted<TrakBox>(deletions), true);
    }
    EXPECT_EQ(deletions, 5);
}

TEST(TrackReference, HasOneIndex) {
    TrackReferenceTypeBox hint;
    hint.track_ID = 4;
    EXPECT_EQ(hint.GetTrackID(0), 4u);
    EXPECT_THROW(hint.GetTrackID(1), SimpleException);
}

// A dump of an incomplete tree ends the process in all builds.
TEST(IncompleteTree, DiesInDumpAndThrowsWithinLimits) {
    const auto dies = [](const Box& box, const std::string& missing) {
        BoxStream out;
        EXPECT_DEATH(box.Dump(out.stream), "Assertion `" + missing + " != __null' failed");
        const LimitedRecord record = limited(out.stream, KeptLines());
        Stream lenient = record.get();
        EXPECT_EQ(message_of([&] { box.Dump(lenient); }), "Could not find " + missing + " box to dump");
        EXPECT_TRUE(out.host.bytes.empty());
    };
    Simple3gp no_moov;
    no_moov.SetFtyp(new FtypBox, true);
    TrakBox no_mdia;
    no_mdia.SetTkhd(new TkhdBox, true);
    StblBox no_stts;
    no_stts.SetStsd(new StsdBox, true);
    dies(Simple3gp(), "ftyp");
    dies(no_moov, "moov");
    dies(MoovBox(), "mvhd");
    dies(TrakBox(), "tkhd");
    dies(no_mdia, "mdia");
    dies(MdiaBox(), "mdhd");
    dies(MinfBox(), "dinf");
    dies(DinfBox(), "dref");
    dies(EdtsBox(), "elst");
    dies(TrefBox(), "hint");
    dies(StblBox(), "stsd");
    dies(no_stts, "stts");
}

}  // namespace
}  // namespace qlip_test
