// Every class that holds fields: its bytes are those of its box diagram, its size is theirs, and reading them
// back loses nothing.
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
    std::string name;
    std::function<BoxPointer()> filled;
    std::function<BoxPointer()> empty;
    Bytes bytes;
};

template <class Class, class... Arguments>
Row row(const char* name, const Bytes& bytes, const std::function<void(Class&)>& fill,
        Arguments... arguments) {
    return {name,
            [=] {
                auto box = std::make_unique<Class>(arguments...);
                fill(*box);
                return BoxPointer(std::move(box));
            },
            [=] { return BoxPointer(std::make_unique<Class>(arguments...)); }, bytes};
}

const Bytes kMatrix = hex("00010000 00000000 00000000 00000000 00010000 00000000 00000000 00000000 40000000");
const Bytes kD263 = box("d263", hex("54455354 01 1E 03"));
const Bytes kDamr = box("damr", hex("54455354 02 81FF 04 05"));
const Bytes kFtyp = box("ftyp", ByteWriter().text("3gp5").u32(256).text("3gp5isom"));
const Bytes kTimes = hex("00000001 00000002");
const Bytes kMvhd =
    full_box("mvhd", join({kTimes, hex("00000258 FFFFFFFF 00010000 0100 0000 00000000 00000000"), kMatrix,
                           Bytes(24), hex("00010000")}));
const Bytes kTkhd =
    full_box("tkhd",
             join({kTimes, hex("00000003 00000000 000002BC 00000000 00000000 FFFE 0005 0100 0000"), kMatrix,
                   hex("00B00000 00900000")}),
             0, 7);
const Bytes kMdhd = full_box("mdhd", join({kTimes, hex("00001F40 000000A0 55C4 0000")}));
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
    entry.SetDimensions(352, 288);
    std::memcpy(entry.visual.compressorname, "name", 4);
}

void fill_esds(ESDBox& box) {
    tagESD_INFO& info = *box.GetESDInfo();
    info.es_size = 26;
    info.dc_size = 18;
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

template <class Header>
void fill_header(Header& header, unsigned int timescale, unsigned int duration) {
    set_times(header);
    header.SetTimescale(timescale, 1);
    header.SetDuration(duration);
}

std::vector<Row> header_rows() {
    return {
        row<FullBox>(
            "FullBox", full_box("test", {}, 2, 0x030405),
            [](FullBox& box) {
                box.version = 2;
                box.flags = 0x030405;
            },
            type_word("test"), 0, 0),
        row<FtypBox>("FtypBox", kFtyp,
                     [](FtypBox& box) {
                         box.major_brand = type_word("3gp5");
                         box.minor_version = 256;
                         box.compatible_brands = {type_word("3gp5"), type_word("isom")};
                     }),
        row<MvhdBox>("MvhdBox", kMvhd, [](MvhdBox& box) { fill_header(box, 600, 0xFFFFFFFF); }),
        row<TkhdBox>("TkhdBox", kTkhd,
                     [](TkhdBox& box) {
                         fill_header(box, 12345, 700);
                         box.SetDimensions(176 << 16, 144 << 16);
                         box.track_ID = 3;
                         box.layer = -2;
                         box.alternate_group = 5;
                         box.volume = 0x100;
                     }),
        row<MdhdBox>("MdhdBox", kMdhd, [](MdhdBox& box) { fill_header(box, 8000, 160); }),
        row<HdlrBox>("HdlrBox",
                     full_box("hdlr", ByteWriter().u32(0).text("soun").zeros(12).text("sound").u8(0)),
                     [](HdlrBox& box) {
                         box.handler_type = type_word("soun");
                         box.name = "sound";
                     }),
        row<VmhdBox>("VmhdBox", full_box("vmhd", ByteWriter().u16(0).u16(1).u16(2).u16(3), 0, 1),
                     [](VmhdBox& box) {
                         for (unsigned short i = 0; i < 3; ++i)
                             box.opcolor[i] = static_cast<unsigned short>(i + 1);
                     }),
        row<SmhdBox>("SmhdBox", full_box("smhd", ByteWriter().u16(0xFF00).u16(0)),
                     [](SmhdBox& box) { box.balance = -256; }),
        row<HmhdBox>("HmhdBox",
                     full_box("hmhd", ByteWriter().u16(1400).u16(900).u32(64000).u32(32000).u32(0)),
                     [](HmhdBox& box) {
                         box.maxPDUsize = 1400;
                         box.avgPDUsize = 900;
                         box.maxbitrate = 64000;
                         box.avgbitrate = 32000;
                     }),
    };
}

std::vector<Row> reference_and_table_rows() {
    const Bytes url = full_box("url ", {}, 0, 1);
    const Bytes dref = full_box("dref", ByteWriter().u32(1).raw(url));
    const Bytes elst =
        full_box("elst", hex("00000002 0000000A FFFFFFFF 0001 0000 00000014 00000005 0001 0002"));
    const Bytes hint = box("hint", ByteWriter().u32(9));
    return {
        row<DrefBox>("DrefBox", dref, [](DrefBox& box) { box.AddDataEntryBox(new DataEntryBox, true); }),
        row<ElstBox>("ElstBox", elst,
                     [](ElstBox& box) {
                         box.edit_entries = {{10, -1, 1, 0}, {20, 5, 1, 2}};
                     }),
        row<TrefBox>("TrefBox", box("tref", hint),
                     [](TrefBox& box) {
                         box.SetTrackReferenceTypeBox(new TrackReferenceTypeBox, true);
                         box.hint->track_ID = 9;
                     }),
        row<SttsBox>("SttsBox", full_box("stts", hex("00000002 00000003 000000A0 00000001 00000050")),
                     [](SttsBox& box) {
                         box.sample_entries.assign({{3, 160}, {1, 80}});
                     }),
        row<StscBox>("StscBox", full_box("stsc", hex("00000001 00000001 00000002 00000003")),
                     [](StscBox& box) {
                         box.sample_entries.assign({{1, 2, 3}});
                     }),
        row<StszBox>("StszBox", full_box("stsz", ByteWriter().u32(0).u32(2).u32(32).u32(13)),
                     [](StszBox& box) {
                         box.sample_count = 2;
                         box.chunk_sizes = {32, 13};
                     }),
        row<StszBox>("StszBox of one size", full_box("stsz", ByteWriter().u32(1000).u32(5)),
                     [](StszBox& box) {
                         box.sample_size = 1000;
                         box.sample_count = 5;
                     }),
        row<StcoBox>("StcoBox", full_box("stco", hex("00000002 00000028 FFFFFFF0")),
                     [](StcoBox& box) {
                         box.chunk_offsets.assign({40, 0xFFFFFFF0});
                     }),
        row<StssBox>("StssBox", full_box("stss", ByteWriter().u32(2).u32(1).u32(11)),
                     [](StssBox& box) { box.AddSyncSampleEntry(1), box.AddSyncSampleEntry(11); }),
    };
}

const Bytes kSamr =
    box("samr", ByteWriter().zeros(6).u16(1).zeros(8).u16(2).u16(16).u32(0).u16(8000).u16(0).raw(kDamr));

void fill_damr(AMRSpecificBox& box) {
    box.vendor = type_word("TEST");
    box.decoder_version = 2;
    box.mode_set = 0x81FF;
    box.mode_change_period = 4;
    box.frames_per_sample = 5;
}

void fill_d263(H263SpecificBox& box) {
    box.vendor = type_word("TEST");
    box.decoder_version = 1;
    box.h263_level = 30;
    box.h263_profile = 3;
}

std::vector<Row> entry_rows() {
    return {
        row<H263SampleEntry>("H263SampleEntry", visual_bytes("s263", kD263),
                             [](H263SampleEntry& entry) {
                                 fill_visual(entry);
                                 entry.SetH263Specific(new H263SpecificBox, true);
                                 fill_d263(*entry.GetH263Specific());
                             }),
        row<MP4VisualSampleEntry>("MP4VisualSampleEntry", visual_bytes("mp4v", kEsds),
                                  [](MP4VisualSampleEntry& entry) {
                                      fill_visual(entry);
                                      entry.SetESDBox(new ESDBox, true);
                                      fill_esds(*entry.GetESDBox());
                                  }),
        row<StsdBox>("StsdBox", full_box("stsd", ByteWriter().u32(1).raw(kSamr)),
                     [](StsdBox& box) {
                         auto* const entry = new AMRSampleEntry(type_word("samr"));
                         entry->SetAMRSpecific(new AMRSpecificBox, true);
                         fill_damr(*entry->GetAMRSpecific());
                         box.AddSampleEntry(entry, true);
                     }),
    };
}

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

std::vector<Row> all_rows() {
    std::vector<Row> rows;
    for (const auto& family : {header_rows(), reference_and_table_rows(), entry_rows()})
        rows.insert(rows.end(), family.begin(), family.end());
    return rows;
}

class RoundTrip : public testing::TestWithParam<Row> {};

TEST_P(RoundTrip, DumpsItsDiagramAndReadsItBack) {
    const BoxPointer filled = GetParam().filled();
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

INSTANTIATE_TEST_SUITE_P(Boxes, RoundTrip, testing::ValuesIn(all_rows()), [](const auto& test) {
    std::string name;
    for (const char c : test.param.name)
        if (std::isalnum(static_cast<unsigned char>(c))) name.push_back(c);
    return name;
});

TEST(MovieRoundTrip, KeepsEveryContainerInItsPlace) {
    const Bytes bytes = movie_bytes();
    BoxStream in(join({bytes, {0xEE}}));
    MoovBox moov;
    EXPECT_EQ(dumped(in.read_into(moov)), bytes);
    EXPECT_EQ(moov.GetSize(), bytes.size());
}

// The classes that a dump does not bring back.

TEST(RoundTripLoss, UnknownBoxDumpsAnEmptyShell) {
    BoxStream in(join({box("free", Bytes(992, 7)), {0}}));
    UnknownBox unknown;
    in.read_into(unknown);
    EXPECT_EQ(unknown.GetSizeWhole(), 1000u);
    EXPECT_EQ(unknown.GetSize(), 8u);
    EXPECT_EQ(in.host.position, 1000u);
    EXPECT_EQ(dumped(unknown), box("free"));
}

TEST(RoundTripLoss, VideoHeaderDropsItsGraphicsMode) {
    BoxStream in(full_box("vmhd", ByteWriter().u16(0x40).u16(1).u16(2).u16(3), 0, 1));
    VmhdBox vmhd;
    EXPECT_EQ(dumped(in.read_into(vmhd)), full_box("vmhd", ByteWriter().u16(0).u16(1).u16(2).u16(3), 0, 1));
}

TEST(RoundTripLoss, LongDescriptorSizesAreWrittenAsOneByte) {
    const Bytes tail = join({hex("20 11"), Bytes(11), hex("05 00 06 01 02")});
    BoxStream in(join({full_box("esds", join({hex("03 80808017 0001 00 04 8080800F"), tail})), {0}}));
    ESDBox esds;
    in.read_into(esds);
    EXPECT_EQ(esds.GetESDInfo()->es_size, 23u);
    EXPECT_EQ(esds.GetESDInfo()->dc_size, 15u);
    EXPECT_EQ(dumped(esds), full_box("esds", join({hex("03 17 0001 00 04 0F"), tail})));
}

TEST(RoundTripLoss, UnknownSampleEntryDumpsItsPayloadBehindASizeOf16) {
    const Bytes entry = box("rtp ", ByteWriter().zeros(6).u16(1).u32(0x00010001).u32(1400));
    BoxStream in(join({entry, {0}}));
    NullSampleEntry null;
    in.read_into(null);
    EXPECT_EQ(null.payload_size, 16);
    EXPECT_EQ(null.GetSize(), 16u);
    Bytes expected = entry;
    expected[3] = 16;
    EXPECT_EQ(dumped(null), expected);
}

TEST(RoundTripLoss, HintSampleEntryReadsEightBytesTooMany) {
    const Bytes entry = box("rtp ", ByteWriter().zeros(6).u16(1).text("four"));
    BoxStream in(join({entry, ByteWriter().text("and then")}));
    HintSampleEntry hint(type_word("rtp "));
    in.read_into(hint);
    EXPECT_EQ(in.host.position, 28u);
    EXPECT_EQ(Bytes(hint.payload, hint.payload + hint.payload_size),
              ByteWriter().text("fourand then").bytes());
    EXPECT_EQ(hint.GetSize(), 28u);
}

TEST(RoundTripLoss, RtpHintEntryNeedsItsTimescaleBeforeItReads) {
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

TEST(RoundTripLoss, DataEntriesKeepTheirTypesAndDumpAsSelfContained) {
    const Bytes url = full_box("url ", ByteWriter().text("far"));
    const Bytes urn = full_box("urn ", ByteWriter().text("name"));
    BoxStream in(join({full_box("dref", join({hex("00000002"), url, urn})), {0}}));
    DrefBox dref;
    EXPECT_EQ(dumped(in.read_into(dref)),
              full_box("dref",
                       ByteWriter().u32(2).raw(full_box("url ", {}, 0, 1)).raw(full_box("urn ", {}, 0, 1))));
}

}  // namespace
}  // namespace qlip_test
