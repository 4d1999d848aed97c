// What the walk over a file's boxes bears, and how it ends where it would never end by itself.
#include <gtest/gtest.h>

#include <new>
#include <optional>

#include "tests/boxes/box_stream.h"
#include "tests/support/allocation_count.h"
#include "tests/support/movie_builder.h"

namespace qlip_test {
namespace {

using namespace Vorn3gp;

enum class Outcome { Read, Failure, NoMemory };

Outcome outcome_of(Simple3gp& file, BoxStream& in) {
    try {
        file.Read(in.stream, 0);
    } catch (const SimpleException&) {
        return Outcome::Failure;
    } catch (const std::bad_alloc&) {
        return Outcome::NoMemory;
    }
    return Outcome::Read;
}

const Bytes kFtyp = box("ftyp", ByteWriter().text("3gp4").u32(0));
const Bytes kUdta = box("udta", Bytes(20, 1));

Bytes sized(unsigned int size, const char* type) {
    return ByteWriter().u32(size).text(type);
}

Bytes in_minf(const Bytes& child) {
    return container("moov", {container("trak", {container("mdia", {container("minf", {child})})})});
}

Bytes in_stbl(const Bytes& table) {
    return in_minf(container("stbl", {table}));
}

// A box whose end leads back over so many bytes in front of it.
Bytes back_over(const Bytes& bytes) {
    return sized(0u - static_cast<unsigned int>(bytes.size()), "free");
}

Bytes repeated(const Bytes& bytes, unsigned int times) {
    Bytes all;
    for (unsigned int i = 0; i < times; ++i)
        all.insert(all.end(), bytes.begin(), bytes.end());
    return all;
}

// Boxes in a row that lead back to the first of them, at every level of a tree.
Bytes leading_back_at_every_level(const Bytes& row) {
    Bytes inner;
    for (const char* type : {"stbl", "minf", "mdia", "trak", "moov"})
        inner = container(type, {row, inner, back_over(join({row, inner}))});
    return inner;
}

struct Case {
    const char* name;
    Bytes file;
    Outcome outcome;
    std::optional<size_t> optional_boxes = std::nullopt;  // at the top level, where both hosts agree
};

std::vector<Case> cases() {
    const Bytes full_dref = full_box("dref", ByteWriter().u32(0xFFFFFFFF).raw(sized(0, "url ")));
    return {
        {"Empty", {}, Outcome::Read, 0},
        {"NoMovie", join({kFtyp, box("mdat", Bytes(5, 1))}), Outcome::Read, 0},
        {"UnknownBoxes", join({box("skip"), kFtyp, kUdta, box("mdat", {1})}), Outcome::Read, 2},
        {"EmptyBoxAtTheEnd", join({kFtyp, box("mdat")}), Outcome::Read},
        {"EmptyUnknownBoxAtTheEnd", join({kFtyp, box("free")}), Outcome::Read, 1},
        {"EmptyBoxAtTheEndOfAMovie", join({kFtyp, container("moov", {box("udta")})}), Outcome::Read},
        {"OneStrayByte", join({kFtyp, {0}}), Outcome::Read, 1},
        {"SevenStrayBytes", join({kFtyp, Bytes(7, 0)}), Outcome::Read, 1},
        {"SizeZeroAtTheTop", join({kFtyp, sized(0, "free"), kUdta}), Outcome::NoMemory},
        {"SizeZeroOfMediaData", join({kFtyp, sized(0, "mdat"), kUdta}), Outcome::NoMemory},
        {"SizeZeroInAMovie", join({kFtyp, container("moov", {sized(0, "free"), kUdta})}), Outcome::NoMemory},
        // Taken at its word, the next header begins one byte on and claims 0x166 bytes.
        {"SizeOne", join({kFtyp, sized(1, "free"), kUdta}), Outcome::Failure},
        // The next header begins at "e", which is a size beyond the file.
        {"SizeSeven", join({kFtyp, sized(7, "free"), kUdta}), Outcome::Failure},
        {"SizeEight", join({kFtyp, sized(8, "free"), kUdta}), Outcome::Read, 2},
        {"BeyondTheFile", join({kFtyp, sized(29, "free"), Bytes(20, 1)}), Outcome::Failure},
        // Back into the brand of ftyp, which is a size beyond the file.
        {"BackIntoABox", join({kFtyp, sized(0xFFFFFFF8, "free"), kUdta}), Outcome::Failure},
        {"BackToTheStart", join({kFtyp, sized(0xFFFFFFF0, "free"), kUdta}), Outcome::NoMemory},
        // The end of the movie wraps to 8, which the stream is past already; its child is read at the top
        // level.
        {"MovieThatEndsBeforeItBegins", join({kFtyp, sized(0xFFFFFFF8, "moov"), kUdta}), Outcome::Read, 1},
        {"ChildBeyondItsParent",
         join({kFtyp, container("moov", {container("trak", {sized(28, "udta")}), Bytes(20, 1)}), kUdta}),
         Outcome::Read, 1},
        {"BrandCountThatWraps", join({sized(12, "ftyp"), Bytes(40, 1)}), Outcome::NoMemory},
        {"NameLengthThatWraps",
         join({container("moov",
                         {container("trak", {container("mdia", {sized(32, "hdlr"), Bytes(24, 1)})})})}),
         Outcome::NoMemory},
        {"TableOfFourThousandMillionRows", in_stbl(full_box("stco", ByteWriter().u32(0xFFFFFFFF))),
         Outcome::NoMemory},
        {"TableOfSizesWithoutEnd", in_stbl(full_box("stsz", ByteWriter().u32(0).u32(0x7FFFFFFF).zeros(400))),
         Outcome::NoMemory},
        {"OneSizeForFourThousandMillionSamples",
         join({in_stbl(full_box("stsz", ByteWriter().u32(1).u32(0xFFFFFFFF))), kUdta}), Outcome::Read, 1},
        {"ReferencesThatStandStill", in_minf(container("dinf", {full_dref})), Outcome::NoMemory},
        {"EditsWithoutEnd",
         container(
             "moov",
             {container("trak", {container("edts", {full_box("elst", ByteWriter().u32(0x10000000))})})}),
         Outcome::NoMemory},
        {"RowThatLeadsBack", join({repeated(box("free"), 60000), back_over(Bytes(480000)), kUdta}),
         Outcome::NoMemory},
        {"RowsThatLeadBackAtEveryLevel",
         join({leading_back_at_every_level(repeated(box("free"), 80)), kUdta}), Outcome::NoMemory},
        {"TablesThatAreReadAgainAndAgain",
         join({in_stbl(
                   join({full_box("stco", ByteWriter().u32(10000).zeros(40000)), back_over(Bytes(40016))})),
               kUdta}),
         Outcome::NoMemory},
        {"ReplacedChildren",
         join({container("moov", {container("trak", {repeated(box("mdia"), 8000)})}), kUdta}), Outcome::Read},
        {"SmallestTracks", join({container("moov", {repeated(box("trak"), 8000)}), kUdta}), Outcome::Read},
        {"DescriptionsWithoutEnd", in_stbl(full_box("stsd", ByteWriter().u32(0xFFFFFFFF))),
         Outcome::NoMemory},
    };
}

class Walk : public testing::TestWithParam<MemoryHost::EofStyle> {};

INSTANTIATE_TEST_SUITE_P(Hosts, Walk,
                         testing::Values(MemoryHost::EofStyle::AtEnd, MemoryHost::EofStyle::AfterShortRead));

TEST_P(Walk, EndsAsItMust) {
    for (const Case& each : cases()) {
        SCOPED_TRACE(each.name);
        BoxStream in(each.file);
        in.host.eof_style = GetParam();
        in.host.keep_log = false;
        Simple3gp file;
        const size_t heap_before = counts().heap_bytes;
        EXPECT_EQ(outcome_of(file, in), each.outcome);
        EXPECT_LE(in.host.calls, 32 * each.file.size() + 20000);
        EXPECT_LE(counts().heap_bytes - heap_before, 32 * each.file.size() + 200000);
        EXPECT_EQ(file.optional_boxes.size(), each.optional_boxes.value_or(file.optional_boxes.size()));
    }
}

TEST(Tree, KeepsMediaDataAndTracksInFileOrderAndTheLastMovie) {
    const auto trak = [](unsigned int id) {
        return container("trak", {full_box("tkhd", ByteWriter().zeros(8).u32(id).zeros(68))});
    };
    BoxStream in(join({box("mdat", {1}), container("moov", {kUdta}),
                       container("moov", {trak(7), kUdta, trak(3)}), box("mdat", {2}), box("mdat", {3, 4})}));
    Simple3gp file;
    ASSERT_EQ(outcome_of(file, in), Outcome::Read);
    EXPECT_EQ(file.GetFtyp(), nullptr);
    ASSERT_EQ(file.mdats.size(), 3u);
    EXPECT_LT(std::streamoff(file.mdats[0]->position), std::streamoff(file.mdats[1]->position));
    EXPECT_EQ(file.mdats[2]->GetSizeWhole(), 10u);
    EXPECT_EQ(file.mdats[2]->header_written, 0u);
    ASSERT_EQ(file.GetMoov()->GetTraks().size(), 2u);
    EXPECT_EQ(file.GetMoov()->GetTraks()[0]->GetTkhd()->GetTrackId(), 7u);
    EXPECT_EQ(file.GetMoov()->GetTraks()[1]->GetTkhd()->GetTrackId(), 3u);
    EXPECT_EQ(file.GetMoov()->GetTraks()[0]->GetMdia(), nullptr);
}

TEST(Tree, SecondReferenceOfAHintBoxIsTakenForABox) {
    BoxStream in(join({container("tref", {box("hint", ByteWriter().u32(5).u32(12)), box("free")})}));
    TrefBox tref;
    in.read_into(tref);
    EXPECT_EQ(tref.GetTrackReferenceTypeBox()->GetTrackID(0), 5u);
    ASSERT_EQ(tref.optional_boxes.size(), 1u);
    EXPECT_EQ(tref.optional_boxes[0]->GetSizeWhole(), 12u);
}

TEST(Tree, RowsThatTheFileEndsInAreZero) {
    BoxStream in(full_box("stts", ByteWriter().u32(3).u32(1).u32(2).u32(3)));
    SttsBox stts;
    in.read_into(stts);
    ASSERT_EQ(stts.GetSampleEntries().size(), 3u);
    EXPECT_EQ(stts.GetSampleEntries()[1].sample_count, 3u);
    EXPECT_EQ(stts.GetSampleEntries()[1].sample_delta, 0u);
    EXPECT_EQ(stts.GetSampleEntries()[2].sample_count, 0u);
}

TEST(Tree, TableIsReadInLargePiecesHoweverMuchTheHostDelivers) {
    constexpr unsigned int kRows = 100000;
    ByteWriter rows;
    for (unsigned int i = 0; i < kRows; ++i)
        rows.u32(i * 3);
    for (const unsigned int most : {1000000U, 1001U}) {
        BoxStream in(join({full_box("stco", ByteWriter().u32(kRows).raw(rows)), {0}}));
        in.host.most_per_read = most;
        StcoBox stco;
        in.read_into(stco);
        ASSERT_EQ(stco.GetChunkOffsets().size(), kRows);
        for (unsigned int i = 0; i < kRows; ++i)
            ASSERT_EQ(stco.GetChunkOffsets()[i], i * 3);
        EXPECT_LE(in.host.count(Slot::SeekNRead), kRows * 4 / std::min(most, 16384U) + 50);
        EXPECT_EQ(in.host.position, in.host.bytes.size() - 1);
    }
}

}  // namespace
}  // namespace qlip_test
