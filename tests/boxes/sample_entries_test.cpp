// Sample entries: what the model keeps of a configuration, and how it bears what it does not expect.
#include <gtest/gtest.h>

#include "tests/boxes/box_stream.h"
#include "tests/support/limited_host.h"
#include "tests/support/movie_builder.h"
#include "tests/support/syslog_capture.h"

namespace qlip_test {
namespace {

using namespace Vorn3gp;

const Bytes kSps = hex("6742C01E D9 00 B0 4B 20 88");
const Bytes kPps = hex("68CE3C80");
const Bytes kStart = hex("00000001");

Bytes parameter_sets_of(const AVCCBox& avcc) {
    return {avcc.parameter_sets, avcc.parameter_sets + avcc.parameter_sets_size};
}

// The size in the header of a dump is 12, whatever follows it.
TEST(Avcc, KeepsItsSetsBehindStartCodesAndDumpsAllOfAKindBehindOneLength) {
    BoxStream in(avcC(2, {kSps, kSps}, {kPps, kPps}));
    AVCCBox avcc;
    in.read_into(avcc);
    EXPECT_EQ(parameter_sets_of(avcc), join({kStart, kSps, kStart, kSps, kStart, kPps, kStart, kPps}));
    EXPECT_EQ(std::streamoff(avcc.position), -1);
    EXPECT_EQ(avcc.GetSizeWhole(), 0u);
    EXPECT_EQ(dumped(avcc),
              join({hex("0000000C 61766343 01 42C01E FD E2 0014"), kSps, kSps, hex("02 0008"), kPps, kPps}));
}

TEST(Avcc, EightBitIndexWrapsOverTheStart) {
    const Bytes long_set(200, 0x67);
    const Bytes pps(80, 0x68);
    BoxStream in(avcC(4, {long_set}, {pps}));
    AVCCBox avcc;
    in.read_into(avcc);
    EXPECT_EQ(avcc.parameter_sets_size, (4 + 200 + 4 + 80) % 256);
    EXPECT_EQ(parameter_sets_of(avcc), Bytes(32, 0x68));
}

// In a stream that fails at its end, and in one that does not.
TEST(Avcc, SetOf256BytesReadsOnUntilTheStreamEnds) {
    const Bytes long_set(256, 0x67);
    for (const Bytes& bytes : {avcC(4, {long_set}, {}), avcC(4, {kSps}, {long_set})}) {
        BoxStream in(join({bytes, Bytes(300)}));
        in.host.arrived = static_cast<unsigned int>(in.host.bytes.size()) - 1;
        EXPECT_THROW(AVCCBox().Read(in.stream, 0), SimpleException);
        EXPECT_EQ(in.host.position, in.host.arrived);
        in.host.arrived.reset();
        in.host.position = 0;
        EXPECT_THROW(AVCCBox().Read(in.stream, 0), std::bad_alloc);
        EXPECT_EQ(in.host.position, in.host.bytes.size());
    }
}

TEST(Esds, OtherObjectTypesEndTheProcess) {
    Bytes bytes = esds(hex("000001B0"));
    constexpr size_t kObjectType = 12 + 2 + 3 + 2;
    ASSERT_EQ(bytes[kObjectType], 0x20);
    bytes[kObjectType] = 0x6A;
    EXPECT_EXIT(
        {
            BoxStream in(bytes);
            ESDBox box;
            in.read_into(box);
        },
        testing::ExitedWithCode(1), "^Bad 3GP file, only MP4 Video codec accepted in mp4v box\n$");
    BoxStream in(bytes);
    const LimitedRecord record = limited(in.stream, KeptLines());
    in.stream = record.get();
    ESDBox box;
    EXPECT_EQ(message_of([&] { in.read_into(box); }),
              "Bad 3GP file, only MP4 Video codec accepted in mp4v box");
}

TEST(Esds, SpecificInfoLongerThanAByteIsSeenCut) {
    const Bytes info(300, 0xB0);
    const Bytes head = hex("03 80808243 0001 00 04 8080823B 20 11 000000 00000000 00000000 05 8080822C");
    BoxStream in(full_box("esds", join({head, info, hex("06 01 02")})));
    ESDBox box;
    in.read_into(box);
    ASSERT_EQ(box.GetESDInfo()->dsi_size, 300u);
    EXPECT_EQ(box.GetESDInfo()->dsi_size_byte, 300 - 256);
    EXPECT_EQ(Bytes(box.GetESDInfo()->dsi, box.GetESDInfo()->dsi + 300), info);
}

TEST(VisualEntry, TakesAnyBoxForItsConfiguration) {
    const Bytes bit_rates = box("btrt", hex("01020304 05 06 07 08090A0B 0C"));
    BoxStream in(join({visual_entry("s263", 352, 288, join({bit_rates, d263()})), {0}}));
    H263SampleEntry entry;
    in.read_into(entry);
    EXPECT_EQ(entry.GetH263Specific()->GetType(), type_word("btrt"));
    tagH263_DEC_SPEC specific = {};
    entry.GetH263Specific()->GetH263Specific(&specific);
    EXPECT_EQ(specific.decoder_version, 5);
    EXPECT_EQ(specific.h263_level, 6);
    EXPECT_EQ(specific.h263_profile, 7);
    EXPECT_EQ(in.host.position, 86u + 15u);
}

TEST(AmrEntry, WithoutItsConfigurationIsReadAndLogged) {
    syslog_lines().clear();
    BoxStream in(join({samr_entry({}), box("free"), {0}}));
    AMRSampleEntry entry(type_word("samr"));
    in.read_into(entry);
    EXPECT_EQ(entry.GetAMRSpecific(), nullptr);
    ASSERT_EQ(syslog_lines().size(), 1u);
    EXPECT_EQ(syslog_lines()[0].text.substr(0, 5), "ERR: ");
    EXPECT_NE(syslog_lines()[0].text.find(
                  "): No AMRSpecificBox(damr) in AMRSampleEntry box. Try to keep going...\n"),
              std::string::npos);
    EXPECT_EQ(entry.GetSize(), 36u);
    EXPECT_EQ(dumped(entry), samr_entry({}));

    ByteWriter many;
    many.u32(100);
    for (int i = 0; i < 100; ++i)
        many.raw(samr_entry({}));
    BoxStream table(join({full_box("stsd", many), {0}}));
    StsdBox stsd;
    syslog_lines().clear();
    EXPECT_EQ(table.read_into(stsd).GetSampleEntries().size(), 100u);
    EXPECT_EQ(syslog_lines().size(), 64u + 1);
}

TEST(VisualEntry, WithoutItsConfigurationDumpsNothing) {
    BoxStream out;
    EXPECT_THROW(H263SampleEntry().Dump(out.stream), SimpleException);
    EXPECT_THROW(H264SampleEntry().Dump(out.stream), SimpleException);
    EXPECT_THROW(MP4VisualSampleEntry().Dump(out.stream), SimpleException);
    EXPECT_TRUE(out.host.bytes.empty());
    EXPECT_EQ(H263SampleEntry().GetSize(), 86u);
}

TEST(SampleDescriptions, FailedSecondReadLeavesNothingToDump) {
    NullSampleEntry null;
    ESDBox esd;
    BoxStream first(join({box("rtp ", Bytes(2, 1)), {0}}));
    first.read_into(null);
    BoxStream second(join({box("rtp ", Bytes(200, 1)), {0}}));
    second.host.fault = {Slot::SeekNRead, 50};
    EXPECT_THROW(second.read_into(null), SimpleException);
    EXPECT_EQ(dumped(null), hex("00000010 72747020"));

    BoxStream third(join({esds({1}), {0}}));
    third.read_into(esd);
    BoxStream fourth(join({esds(Bytes(100, 1)), {0}}));
    fourth.host.fault = {Slot::SeekNRead, 50};
    EXPECT_THROW(fourth.read_into(esd), SimpleException);
    BoxStream out;
    EXPECT_THROW(esd.Dump(out.stream), SimpleException);
}

TEST(SampleDescriptions, EntryThatTheFileEndsBeforeAsksForTooMuchMemory) {
    BoxStream in(full_box("stsd", ByteWriter().u32(2).raw(samr_entry())));
    StsdBox stsd;
    EXPECT_THROW(in.read_into(stsd), std::bad_alloc);
    EXPECT_EQ(stsd.GetSampleEntries().size(), 1u);
}

}  // namespace
}  // namespace qlip_test
