// Every class: its bytes are those of its box diagram, its size is theirs, and reading them back loses
// nothing.
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

ByteWriter matrix() {
    return ByteWriter().u32(0x10000).zeros(12).u32(0x10000).zeros(12).u32(0x40000000);
}

const Bytes kD263 = box("d263", ByteWriter().text("TEST").u8(1).u8(30).u8(3));
const Bytes kDamr = box("damr", ByteWriter().text("TEST").u8(2).u16(0x81FF).u8(4).u8(5));

Bytes visual_bytes(const char* type, const Bytes& child) {
    return box(type, ByteWriter()
                         .zeros(5)
                         .u8(9)
                         .u16(7)
                         .zeros(12)
                         .u32(4)
                         .u16(352)
                         .u16(288)
                         .u32(0x480000)
                         .u32(0x480000)
                         .zeros(4)
                         .u16(1)
                         .text("name")
                         .zeros(28)
                         .u16(24)
                         .u16(0xFFFF)
                         .raw(child));
}

template <class Entry>
void fill_visual(Entry& entry) {
    entry.reserved[5] = 9;
    entry.data_reference_index = 7;
    entry.visual.reserved_words[3] = 4;
    entry.SetDimensions(352, 288);
    std::memcpy(entry.visual.compressorname, "name", 4);
}

Bytes esds_bytes() {
    return full_box("esds", ByteWriter()
                                .u8(3)
                                .u8(26)
                                .u16(1)
                                .u8(0)
                                .u8(4)
                                .u8(18)
                                .u8(0x20)
                                .u8(17)
                                .u24(0x010203)
                                .u32(64000)
                                .u32(48000)
                                .u8(5)
                                .u8(3)
                                .text("dsi")
                                .u8(6)
                                .u8(1)
                                .u8(2));
}

void fill_esds(ESDBox& box) {
    tagESD_INFO& info = *box.GetESDInfo();
    info.es_size = 26;
    info.dc_size = 18;
    info.buffer_size[0] = 1;
    info.buffer_size[1] = 2;
    info.buffer_size[2] = 3;
    info.max_bitrate = 64000;
    info.avg_bitrate = 48000;
    info.dsi_size = 3;
    info.dsi_size_byte = 3;
    info.dsi = static_cast<unsigned char*>(std::malloc(3));
    std::memcpy(info.dsi, "dsi", 3);
}

const Bytes kFtyp = box("ftyp", ByteWriter().text("3gp5").u32(256).text("3gp5").text("isom"));

const Bytes kMvhd = full_box("mvhd", ByteWriter()
                                         .u32(1)
                                         .u32(2)
                                         .u32(600)
                                         .u32(0xFFFFFFFF)
                                         .u32(0x10000)
                                         .u16(256)
                                         .u16(0)
                                         .zeros(8)
                                         .raw(matrix())
                                         .zeros(24)
                                         .u32(0x10000));

const Bytes kTkhd = full_box("tkhd",
                             ByteWriter()
                                 .u32(1)
                                 .u32(2)
                                 .u32(3)
                                 .u32(0)
                                 .u32(700)
                                 .zeros(8)
                                 .u16(0xFFFE)
                                 .u16(5)
                                 .u16(0x100)
                                 .u16(0)
                                 .raw(matrix())
                                 .u32(176 << 16)
                                 .u32(144 << 16),
                             0, 7);

const Bytes kMdhd = full_box("mdhd", ByteWriter().u32(1).u32(2).u32(8000).u32(160).u16(0x55C4).u16(0));

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
        row<Box>("Box", hex("00000008 3f3f3f3f"), [](Box&) {}),
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
    const Bytes elst = full_box(
        "elst", ByteWriter().u32(2).u32(10).u32(0xFFFFFFFF).u16(1).u16(0).u32(20).u32(5).u16(1).u16(2));
    const Bytes hint = box("hint", ByteWriter().u32(9));
    const auto fill_dref = [](DrefBox& box) { box.AddDataEntryBox(new DataEntryBox, true); };
    const auto fill_elst = [](ElstBox& box) { box.edit_entries = {{10, -1, 1, 0}, {20, 5, 1, 2}}; };
    return {
        row<DrefBox>("DrefBox", dref, fill_dref),
        row<DinfBox>("DinfBox", box("dinf", dref),
                     [=](DinfBox& box) {
                         box.SetDref(new DrefBox, true);
                         fill_dref(*box.dref);
                     }),
        row<ElstBox>("ElstBox", elst, fill_elst),
        row<EdtsBox>("EdtsBox", box("edts", elst),
                     [=](EdtsBox& box) {
                         box.SetElst(new ElstBox, true);
                         fill_elst(*box.elst);
                     }),
        row<TrefBox>("TrefBox", box("tref", hint),
                     [](TrefBox& box) {
                         box.SetTrackReferenceTypeBox(new TrackReferenceTypeBox, true);
                         box.hint->track_ID = 9;
                     }),
        row<SttsBox>("SttsBox", full_box("stts", ByteWriter().u32(2).u32(3).u32(160).u32(1).u32(80)),
                     [](SttsBox& box) {
                         box.sample_entries = {{3, 160}, {1, 80}};
                     }),
        row<StscBox>("StscBox", full_box("stsc", ByteWriter().u32(1).u32(1).u32(2).u32(3)),
                     [](StscBox& box) {
                         box.sample_entries = {{1, 2, 3}};
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
        row<StcoBox>("StcoBox", full_box("stco", ByteWriter().u32(2).u32(40).u32(0xFFFFFFF0)),
                     [](StcoBox& box) {
                         box.chunk_offsets = {40, 0xFFFFFFF0};
                     }),
        row<StssBox>("StssBox", full_box("stss", ByteWriter().u32(2).u32(1).u32(11)),
                     [](StssBox& box) {
                         box.AddSyncSampleEntry(1);
                         box.AddSyncSampleEntry(11);
                     }),
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
    const Bytes tims = box("tims", ByteWriter().u32(90000));
    return {
        row<H263SpecificBox>("H263SpecificBox", kD263, fill_d263),
        row<AMRSpecificBox>("AMRSpecificBox", kDamr, fill_damr),
        row<ESDBox>("ESDBox", esds_bytes(), fill_esds),
        row<TimeScaleEntry>("TimeScaleEntry", tims, [](TimeScaleEntry& box) { box.timescale = 90000; }),
        row<H263SampleEntry>("H263SampleEntry", visual_bytes("s263", kD263),
                             [](H263SampleEntry& entry) {
                                 fill_visual(entry);
                                 entry.SetH263Specific(new H263SpecificBox, true);
                                 fill_d263(*entry.GetH263Specific());
                             }),
        row<MP4VisualSampleEntry>("MP4VisualSampleEntry", visual_bytes("mp4v", esds_bytes()),
                                  [](MP4VisualSampleEntry& entry) {
                                      fill_visual(entry);
                                      entry.SetESDBox(new ESDBox, true);
                                      fill_esds(*entry.GetESDBox());
                                  }),
        row<AMRSampleEntry>(
            "AMRSampleEntry", kSamr,
            [](AMRSampleEntry& entry) {
                entry.SetAMRSpecific(new AMRSpecificBox, true);
                fill_damr(*entry.GetAMRSpecific());
            },
            type_word("samr")),
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

StblBox* make_stbl() {
    auto* const stbl = new StblBox;
    stbl->SetStsd(new StsdBox, true);
    stbl->SetStts(new SttsBox, true);
    stbl->SetStsc(new StscBox, true);
    stbl->SetStsz(new StszBox, true);
    stbl->SetStco(new StcoBox, true);
    stbl->SetStss(new StssBox, true);
    stbl->AddOptionalBox(new UnknownBox, true);
    return stbl;
}

MinfBox* make_minf() {
    auto* const minf = new MinfBox;
    minf->SetVmhd(new VmhdBox, true);
    minf->SetSmhd(new SmhdBox, true);
    minf->SetHmhd(new HmhdBox, true);
    minf->SetDinf(new DinfBox, true);
    minf->dinf->SetDref(new DrefBox, true);
    minf->SetStbl(make_stbl(), true);
    return minf;
}

TrakBox* make_trak() {
    auto* const trak = new TrakBox;
    trak->SetTkhd(new TkhdBox, true);
    fill_header(*trak->GetTkhd(), 0, 700);
    trak->GetTkhd()->SetDimensions(176 << 16, 144 << 16);
    trak->GetTkhd()->track_ID = 3;
    trak->GetTkhd()->layer = -2;
    trak->GetTkhd()->alternate_group = 5;
    trak->GetTkhd()->volume = 0x100;
    trak->SetMdia(new MdiaBox, true);
    trak->GetMdia()->SetMdhd(new MdhdBox, true);
    fill_header(*trak->GetMdia()->GetMdhd(), 8000, 160);
    trak->GetMdia()->SetHdlr(new HdlrBox, true);
    trak->GetMdia()->SetMinf(make_minf(), true);
    trak->SetEdts(new EdtsBox, true);
    trak->GetEdts()->SetElst(new ElstBox, true);
    trak->SetTref(new TrefBox, true);
    trak->GetTref()->SetTrackReferenceTypeBox(new TrackReferenceTypeBox, true);
    return trak;
}

std::vector<Row> all_rows() {
    std::vector<Row> rows;
    for (const auto& family : {header_rows(), reference_and_table_rows(), entry_rows()})
        rows.insert(rows.end(), family.begin(), family.end());
    rows.push_back(row<MoovBox>("MoovBox and all below", movie_bytes(), [](MoovBox& moov) {
        moov.SetMvhd(new MvhdBox, true);
        fill_header(*moov.GetMvhd(), 600, 0xFFFFFFFF);
        moov.AddTrak(make_trak(), true);
        moov.AddTrak(make_trak(), true);
    }));
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
    const ByteWriter body = ByteWriter()
                                .u16(1)
                                .u8(0)
                                .u8(4)
                                .u32(0x8080800F)
                                .u8(0x20)
                                .u8(17)
                                .zeros(11)
                                .u8(5)
                                .u8(0)
                                .u8(6)
                                .u8(1)
                                .u8(2);
    BoxStream in(join({full_box("esds", ByteWriter().u8(3).u32(0x80808017).raw(body)), {0}}));
    ESDBox esds;
    in.read_into(esds);
    EXPECT_EQ(esds.GetESDInfo()->es_size, 23u);
    EXPECT_EQ(esds.GetESDInfo()->dc_size, 15u);
    const ByteWriter short_body =
        ByteWriter().u16(1).u8(0).u8(4).u8(15).u8(0x20).u8(17).zeros(11).u8(5).u8(0).u8(6).u8(1).u8(2);
    EXPECT_EQ(dumped(esds), full_box("esds", ByteWriter().u8(3).u8(23).raw(short_body)));
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
    BoxStream in(join({full_box("dref", ByteWriter()
                                            .u32(2)
                                            .raw(full_box("url ", ByteWriter().text("far")))
                                            .raw(full_box("urn ", ByteWriter().text("name")))),
                       {0}}));
    DrefBox dref;
    EXPECT_EQ(dumped(in.read_into(dref)),
              full_box("dref",
                       ByteWriter().u32(2).raw(full_box("url ", {}, 0, 1)).raw(full_box("urn ", {}, 0, 1))));
}

}  // namespace
}  // namespace qlip_test
