// Classes that hold fields: their bytes are those of their box diagrams, their sizes are theirs, and reading
// them back loses nothing but what is told here. Tables and track headers are compared on real files, in
// samples_test.cpp.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>

#include "tests/filegen/box_stream.h"
#include "tests/support/movie_builder.h"

namespace qlip_test {
namespace {

using namespace Vorn3gp;
using BoxPointer = std::unique_ptr<Box>;

struct Row {
    const char* name;
    std::function<BoxPointer()> empty;
    std::function<void(Box&)> fill;
    Bytes bytes;
};

// `fill` sets what differs from the defaults of a new box.
template <class Class>
Row row(const char* name, const Bytes& bytes, const std::function<void(Class&)>& fill) {
    return {name, [] { return std::make_unique<Class>(); },
            [fill](Box& box) { fill(dynamic_cast<Class&>(box)); }, bytes};
}

const Bytes kMatrix = hex("00010000 00000000 00000000 00000000 00010000 00000000 00000000 00000000 40000000");
const Bytes kTimes = hex("00000001 00000002");
const Bytes kMvhd =
    full_box("mvhd", join({kTimes, hex("00002710 FFFFFFFF 00010000 0100 0000 00000000 00000000"), kMatrix,
                           Bytes(24), hex("00010000")}));
const Bytes kTkhd =
    full_box("tkhd",
             join({kTimes, hex("00000003 00000000 FFFFFFFF 00000000 00000000 FFFE 0005 0100 0000"), kMatrix,
                   hex("00B00000 00900000")}),
             0, 7);
const Bytes kMdhd = full_box("mdhd", join({kTimes, hex("000492B4 FFFFFFFF 55C4 0000")}));
const Bytes kD263 = box("d263", hex("696E7463 05 0A 00"));
const Bytes kDamr = box("damr", hex("696E7463 05 0080 00 01"));
const Bytes kEsds = full_box("esds", hex("03 1A 0001 00  04 12 20 11 010203 0000FA00 0000BB80"
                                         "05 03 647369  06 01 02"));

Bytes visual_bytes(const char* type, const Bytes& child) {
    const Bytes name = ByteWriter().text("name").zeros(28);
    return box(type, join({hex("0000000000 09 0007"), Bytes(12), hex("00000004 0160 0120 00480000 00480000"),
                           hex("00000000 0001"), name, hex("0018 FFFF"), child}));
}

template <class Entry>
void fill_visual(Entry& entry) {
    entry.reserved[5] = 9;
    entry.data_reference_index = 7;
    entry.visual.reserved_words[3] = 4;
    entry.SetDimensions(0x10000 + 352, 288);
    std::memcpy(entry.visual.compressorname, "name", 4);
}

void fill_esds(ESDBox& box) {
    tagESD_INFO& info = *box.GetESDInfo();
    info.es_size += 3;
    info.dc_size += 3;
    for (unsigned char i = 0; i < 3; ++i)
        info.buffer_size[i] = static_cast<unsigned char>(i + 1);
    info.max_bitrate = 64000;
    info.avg_bitrate = 48000;
    info.dsi_size = info.dsi_size_byte = 3;
    info.dsi = static_cast<unsigned char*>(std::malloc(3));
    std::memcpy(info.dsi, "dsi", 3);
}

void set_times(Timed& times) {
    times.creation_time = 1;
    times.modification_time = 2;
}

std::vector<Row> rows() {
    const Bytes samr =
        box("samr", ByteWriter().zeros(6).u16(1).zeros(8).u16(2).u16(16).u32(0).u16(8000).u16(0).raw(kDamr));
    return {
        row<FtypBox>("Ftyp", box("ftyp", ByteWriter().text("3gp4").u32(1024).text("3gp5isom")),
                     [](FtypBox& box) {
                         box.compatible_brands = {type_word("3gp5"), type_word("isom")};
                     }),
        row<MvhdBox>("Mvhd", kMvhd, set_times),
        row<MdhdBox>("Mdhd", kMdhd, set_times),
        row<TkhdBox>("Tkhd", kTkhd,
                     [](TkhdBox& box) {
                         set_times(box);
                         box.SetTimescale(12345, 1);
                         box.SetDimensions(176 << 16, 144 << 16);
                         box.track_ID = 3;
                         box.layer = -2;
                         box.alternate_group = 5;
                         box.volume = 0x100;
                     }),
        row<HdlrBox>("Hdlr", full_box("hdlr", ByteWriter().u32(0).text("vide").zeros(12).text("sight").u8(0)),
                     [](HdlrBox& box) { box.name = "sight"; }),
        row<SmhdBox>("Smhd", full_box("smhd", ByteWriter().u16(0xFF00).u16(0)),
                     [](SmhdBox& box) { box.balance = -256; }),
        row<HmhdBox>("Hmhd", full_box("hmhd", ByteWriter().u16(1400).u16(900).u32(64000).u32(32000).u32(0)),
                     [](HmhdBox& box) {
                         box.maxPDUsize = 1400;
                         box.avgPDUsize = 900;
                         box.maxbitrate = 64000;
                         box.avgbitrate = 32000;
                     }),
        row<H263SampleEntry>("H263Entry", visual_bytes("s263", kD263),
                             [](H263SampleEntry& entry) {
                                 fill_visual(entry);
                                 entry.SetH263Specific(new H263SpecificBox, true);
                             }),
        row<MP4VisualSampleEntry>("Mpeg4Entry", visual_bytes("mp4v", kEsds),
                                  [](MP4VisualSampleEntry& entry) {
                                      fill_visual(entry);
                                      entry.SetESDBox(new ESDBox, true);
                                      fill_esds(*entry.GetESDBox());
                                  }),
        row<StsdBox>("StsdWithAmrEntry", full_box("stsd", ByteWriter().u32(1).raw(samr), 2, 0x030405),
                     [](StsdBox& box) {
                         box.version = 2;
                         box.flags = 0x030405;
                         auto* const entry = new AMRSampleEntry(type_word("samr"));
                         entry->SetAMRSpecific(new AMRSpecificBox, true);
                         box.AddSampleEntry(entry, true);
                     }),
    };
}

class RoundTrip : public testing::TestWithParam<Row> {};

TEST_P(RoundTrip, DumpsItsDiagramAndReadsItBack) {
    const BoxPointer filled = GetParam().empty();
    GetParam().fill(*filled);
    EXPECT_EQ(filled->GetSize(), GetParam().bytes.size());
    EXPECT_EQ(dumped(*filled), GetParam().bytes);

    // A byte behind the box keeps it from the end of the stream.
    BoxStream in(join({GetParam().bytes, {0xEE}}));
    const BoxPointer again = GetParam().empty();
    in.read_into(*again);
    EXPECT_EQ(in.host.position, GetParam().bytes.size());
    EXPECT_EQ(again->GetSizeWhole(), GetParam().bytes.size());
    EXPECT_EQ(dumped(*again), GetParam().bytes);
}

INSTANTIATE_TEST_SUITE_P(Boxes, RoundTrip, testing::ValuesIn(rows()),
                         [](const auto& test) { return std::string(test.param.name); });

// A movie of one track with every container and an optional box in stbl.
Bytes movie_bytes() {
    const Bytes stbl = container(
        "stbl", {full_box("stsd", ByteWriter().u32(0)), full_box("stts", ByteWriter().u32(0)),
                 full_box("stsc", ByteWriter().u32(0)), full_box("stsz", ByteWriter().u32(0).u32(0)),
                 full_box("stco", ByteWriter().u32(0)), full_box("stss", ByteWriter().u32(0)), box("????")});
    const Bytes minf =
        container("minf", {full_box("vmhd", ByteWriter().zeros(8), 0, 1),
                           full_box("smhd", ByteWriter().zeros(4)), full_box("hmhd", ByteWriter().zeros(16)),
                           container("dinf", {full_box("dref", ByteWriter().u32(0))}), stbl});
    const Bytes hdlr = full_box("hdlr", ByteWriter().u32(0).text("vide").zeros(13));
    const Bytes trak = container("trak", {kTkhd, container("mdia", {kMdhd, hdlr, minf}),
                                          container("edts", {full_box("elst", ByteWriter().u32(0))}),
                                          container("tref", {box("hint", ByteWriter().u32(0))})});
    return container("moov", {kMvhd, trak, trak});
}

// The optional box of a moov does not count.
TEST(MovieRoundTrip, KeepsEveryContainerInItsPlace) {
    const Bytes bytes = movie_bytes();
    BoxStream in(join({bytes, {0xEE}}));
    MoovBox moov;
    in.read_into(moov).AddOptionalBox(new UnknownBox, true);
    EXPECT_EQ(dumped(moov), bytes);
    EXPECT_EQ(moov.GetSize(), bytes.size());
}

// What a dump does not bring back.

struct Loss {
    const char* name;
    std::function<BoxPointer()> empty;
    Bytes read, dumped;
};

template <class Class>
Loss loss(const char* name, const Bytes& read, const Bytes& dumped) {
    return {name, [] { return std::make_unique<Class>(); }, read, dumped};
}

std::vector<Loss> losses() {
    const Bytes esds_tail = join({hex("20 11"), Bytes(11), hex("05 00 06 01 02")});
    const Bytes rtp = box("rtp ", hex("000000000000 0001 00010001 00000578"));
    Bytes rtp_of_16 = rtp;
    rtp_of_16[3] = 16;
    return {
        loss<UnknownBox>("UnknownBoxIsAnEmptyShell", box("free", Bytes(992, 7)), box("free")),
        loss<VmhdBox>("VideoHeaderHasNoGraphicsMode", full_box("vmhd", hex("0040 0001 0002 0003"), 0, 1),
                      full_box("vmhd", hex("0000 0001 0002 0003"), 0, 1)),
        loss<ESDBox>("LongDescriptorSizesAreOneByte",
                     full_box("esds", join({hex("03 80808017 0001 00 04 8080800F"), esds_tail})),
                     full_box("esds", join({hex("03 17 0001 00 04 0F"), esds_tail}))),
        loss<NullSampleEntry>("UnknownSampleEntryHasASizeOf16", rtp, rtp_of_16),
        loss<DrefBox>("DataEntriesAreSelfContained",
                      full_box("dref", join({hex("00000002"), full_box("url ", hex("666172")),
                                             full_box("urn ", hex("6E616D65"))})),
                      full_box("dref", join({hex("00000002"), full_box("url ", {}, 0, 1),
                                             full_box("urn ", {}, 0, 1)}))),
    };
}

class RoundTripLoss : public testing::TestWithParam<Loss> {};

TEST_P(RoundTripLoss, IsThis) {
    BoxStream in(join({GetParam().read, {0xEE}}));
    const BoxPointer box = GetParam().empty();
    in.read_into(*box);
    EXPECT_EQ(box->GetSizeWhole(), GetParam().read.size());
    EXPECT_EQ(in.host.position, GetParam().read.size());
    EXPECT_EQ(dumped(*box), GetParam().dumped);
}

INSTANTIATE_TEST_SUITE_P(Boxes, RoundTripLoss, testing::ValuesIn(losses()),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(HintEntry, ReadsEightBytesTooMany) {
    const Bytes entry = box("rtp ", ByteWriter().zeros(6).u16(1).text("four"));
    BoxStream in(join({entry, ByteWriter().text("and then")}));
    HintSampleEntry hint(type_word("rtp "));
    in.read_into(hint);
    EXPECT_EQ(in.host.position, 28u);
    EXPECT_EQ(Bytes(hint.payload, hint.payload + hint.payload_size),
              ByteWriter().text("fourand then").bytes());
    EXPECT_EQ(hint.GetSize(), 28u);
}

TEST(HintEntry, OfRtpNeedsItsTimescaleBeforeItReads) {
    const Bytes entry =
        box("rtp ",
            ByteWriter().zeros(6).u16(1).u16(1).u16(1).u32(1400).raw(box("tims", ByteWriter().u32(90000))));
    BoxStream in(join({entry, {0}}));
    RTPHintSampleEntry rtp;
    EXPECT_THROW(in.read_into(rtp), SimpleException);
    EXPECT_EQ(rtp.GetSize(), 24u);
    rtp.SetTimeScaleEntry(new TimeScaleEntry, true);
    in.read_into(rtp);
    EXPECT_EQ(rtp.timescale_entry->timescale, 90000u);
    EXPECT_EQ(dumped(rtp), entry);
}

}  // namespace
}  // namespace qlip_test
