// Classes that hold fields: their bytes are those of their box diagrams, their sizes are theirs, and reading
// them back loses nothing but what is told here. Tables and track headers are compared with those of a
// whole file in generation_test.cpp.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/boxes/box_stream.h"

namespace qlip_test {
namespace {

using namespace Vorn3gp;

// Reads a box that another one follows, which keeps it from the end of the stream.
template <class Class>
void expect_dump_after_read(const Bytes& read, const Bytes& expected) {
    SCOPED_TRACE(__PRETTY_FUNCTION__);
    BoxStream in(join({read, {0xEE}}));
    Class box;
    in.read_into(box);
    EXPECT_EQ(in.host.position, read.size());
    EXPECT_EQ(box.GetSizeWhole(), read.size());
    EXPECT_EQ(dumped(box), expected);
}

// `filled` is a new box, but for the fields that differ from its defaults.
template <class Class>
void expect_round_trip(const Class& filled, const Bytes& bytes) {
    SCOPED_TRACE(__PRETTY_FUNCTION__);
    EXPECT_EQ(filled.GetSize(), bytes.size());
    EXPECT_EQ(dumped(filled), bytes);
    expect_dump_after_read<Class>(bytes, bytes);
}

const Bytes kMatrix = hex("00010000 00000000 00000000 00000000 00010000 00000000 00000000 00000000 40000000");
const Bytes kTimes = hex("00000001 00000002");
const Bytes kMvhd =
    full_box("mvhd", join({kTimes, hex("00002711 00000004 00010000 0100 0000 00000000 00000000"), kMatrix,
                           Bytes(24), hex("00010000")}));
const Bytes kTkhd =
    full_box("tkhd",
             join({kTimes, hex("00000003 00000000 00000006 00000000 00000000 FFFE 0005 0100 0000"), kMatrix,
                   hex("00B00000 00900000")}),
             0, 7);
const Bytes kMdhd = full_box("mdhd", join({kTimes, hex("00001F40 00000005 55C4 0000")}));

Bytes visual_bytes(const char* type, const Bytes& child) {
    const Bytes name = ByteWriter().text("name").zeros(28);
    return box(type, join({hex("0000000000 09 0007"), Bytes(12), hex("00000004 0160 0120 00480000 00480000"),
                           hex("00000000 0001"), name, hex("0018 FFFF"), child}));
}

void set_times(Timed& times) {
    times.creation_time = 1;
    times.modification_time = 2;
}

TEST(RoundTrip, OfHeaders) {
    FtypBox ftyp;
    ftyp.compatible_brands = {type_word("3gp5"), type_word("isom")};
    expect_round_trip(ftyp, box("ftyp", ByteWriter().text("3gp4").u32(1024).text("3gp5isom")));
    MvhdBox mvhd;
    set_times(mvhd);
    mvhd.SetTimescale(0x2711, 1);
    mvhd.SetDuration(4);
    expect_round_trip(mvhd, kMvhd);
    MdhdBox mdhd;
    set_times(mdhd);
    mdhd.SetTimescale(8000, 1);
    mdhd.SetDuration(5);
    expect_round_trip(mdhd, kMdhd);
    TkhdBox tkhd;
    set_times(tkhd);
    tkhd.SetTimescale(12345, 1);
    tkhd.SetDuration(6);
    tkhd.SetDimensions(176 << 16, 144 << 16);
    tkhd.track_ID = 3;
    tkhd.layer = -2;
    tkhd.alternate_group = 5;
    tkhd.volume = 0x100;
    expect_round_trip(tkhd, kTkhd);
    HdlrBox hdlr;
    hdlr.name = "sight";
    expect_round_trip(hdlr, full_box("hdlr", ByteWriter().u32(0).text("vide").zeros(12).text("sight").u8(0)));
    SmhdBox smhd;
    smhd.balance = -256;
    expect_round_trip(smhd, full_box("smhd", hex("FF00 0000")));
    HmhdBox hmhd;
    hmhd.maxPDUsize = 1400;
    hmhd.avgPDUsize = 900;
    hmhd.maxbitrate = 64000;
    hmhd.avgbitrate = 32000;
    expect_round_trip(hmhd, full_box("hmhd", hex("0578 0384 0000FA00 00007D00 00000000")));
}

template <class Entry>
void fill_visual(Entry& entry) {
    entry.reserved[5] = 9;
    entry.data_reference_index = 7;
    entry.visual.reserved_words[3] = 4;
    entry.SetDimensions(0x10000 + 352, 288);
    std::memcpy(entry.visual.compressorname, "name", 4);
}

TEST(RoundTrip, OfSampleEntries) {
    H263SampleEntry h263;
    fill_visual(h263);
    h263.SetH263Specific(new H263SpecificBox, true);
    expect_round_trip(h263, visual_bytes("s263", box("d263", hex("696E7463 05 0A 00"))));

    MP4VisualSampleEntry mpeg4;
    fill_visual(mpeg4);
    mpeg4.SetESDBox(new ESDBox, true);
    tagESD_INFO& info = *mpeg4.GetESDBox()->GetESDInfo();
    info.es_size += 3;
    info.dc_size += 3;
    for (unsigned char i = 0; i < 3; ++i)
        info.buffer_size[i] = static_cast<unsigned char>(i + 1);
    info.max_bitrate = 64000;
    info.avg_bitrate = 48000;
    info.dsi_size = 3;
    info.dsi = static_cast<unsigned char*>(std::malloc(3));
    std::memcpy(info.dsi, "dsi", 3);
    expect_round_trip(
        mpeg4, visual_bytes("mp4v", full_box("esds", hex("03 1A 0001 00  04 12 20 11 010203 0000FA00 0000BB80"
                                                         "05 03 647369  06 01 02"))));

    StsdBox stsd;
    stsd.version = 2;
    stsd.flags = 0x030405;
    auto* const amr = new AMRSampleEntry(type_word("samr"));
    amr->SetAMRSpecific(new AMRSpecificBox, true);
    stsd.AddSampleEntry(amr, true);
    const Bytes damr = box("damr", hex("696E7463 05 0080 00 01"));
    const Bytes samr =
        box("samr", join({hex("000000000000 0001 00000000 00000000 0002 0010 00000000 1F40 0000"), damr}));
    expect_round_trip(stsd, full_box("stsd", join({hex("00000001"), samr}), 2, 0x030405));
}

// Below the trak, whose containers generation_test.cpp has in their places.
TEST(RoundTrip, OfContainersKeepsEveryBoxInItsPlace) {
    const Bytes none = ByteWriter().u32(0);
    const Bytes stbl = container(
        "stbl", {full_box("stsd", none), full_box("stts", none), full_box("stsc", none),
                 full_box("stsz", Bytes(8)), full_box("stco", none), full_box("stss", none), box("????")});
    const Bytes minf =
        container("minf", {full_box("vmhd", Bytes(8), 0, 1), full_box("smhd", Bytes(4)),
                           full_box("hmhd", Bytes(16)), container("dinf", {full_box("dref", none)}), stbl});
    expect_dump_after_read<MinfBox>(minf, minf);
}

// What reading and dumping lose: the content of unknown boxes, the graphics mode, the long form of descriptor
// sizes, the size of an unknown entry, and where data entries are.
TEST(RoundTripLoss, IsNoMoreThanThis) {
    expect_dump_after_read<UnknownBox>(box("free", Bytes(992, 7)), box("free"));
    expect_dump_after_read<VmhdBox>(full_box("vmhd", hex("0040 0001 0002 0003"), 0, 1),
                                    full_box("vmhd", hex("0000 0001 0002 0003"), 0, 1));
    const Bytes tail = join({hex("20 11"), Bytes(11), hex("05 00 06 01 02")});
    expect_dump_after_read<ESDBox>(full_box("esds", join({hex("03 80808017 0001 00 04 8080800F"), tail})),
                                   full_box("esds", join({hex("03 17 0001 00 04 0F"), tail})));
    const Bytes payload = hex("000000000000 0001 00010001 00000578");
    expect_dump_after_read<NullSampleEntry>(box("rtp ", payload), join({hex("00000010 72747020"), payload}));
    const auto dref = [](const Bytes& location, unsigned int flags) {
        return full_box("dref", join({hex("00000002"), full_box("url ", location, 0, flags),
                                      full_box("urn ", location, 0, flags)}));
    };
    expect_dump_after_read<DrefBox>(dref(hex("66617200"), 0), dref({}, 1));
}

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
