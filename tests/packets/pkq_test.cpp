// The older packet family.
#include "qlip/pkq_native.h"

#include "tests/packets/packets.h"

namespace qlip_test {
namespace {

// The bytes of one packet, all in network byte order.
Bytes packet(unsigned int type, bool marker, unsigned int sequence, unsigned int time, const Bytes& payload) {
    ByteWriter w;
    w.u16(0).u16(static_cast<unsigned int>(payload.size())).u8(13);
    w.u8(type + (marker ? 128 : 0)).u16(sequence).u32(time).raw(payload);
    return w;
}

pkq_native pkq_for(int codec, unsigned int flags = 0, int packet_size = 112, int rfc_mode = 0) {
    iso_track track{};
    track.codec = codec;
    pkq_native native{};
    native.last_source_format = 3;
    EXPECT_EQ(pkq_native_init(&native, 99, packet_size, rfc_mode, &track, static_cast<int>(flags)), 0);
    return native;
}

TEST(Pkq, AnRtpHeaderBecomesAPacketHeaderAndThenAPacketRecord) {
    Bytes rtp = hex("80 E0 12 34 DEADBEEF 01020304 55 66 77");
    rtp2pkq(rtp.data(), 15, 0xFF22, 1);
    EXPECT_EQ(rtp, packet(0x22, true, 0x1234, 0xDEADBEEF, {0x55, 0x66, 0x77}));
    Bytes record(20);
    wld_put_header_pkq2wld(rtp.data(), record.data(), 0x80 + 103);
    EXPECT_EQ(record, words({23, 0xDEADBEEF, 0x80E71234, 0xDEADBEEF, 0}));
}

TEST(Pkq, VideoIsCutLikeTodaysButBehindTwelveBytes) {
    Bytes frame = filled(250, 0x55);
    frame[90] = frame[91] = 0;
    pkq_native native = pkq_for(ISO_CODEC_S263, 0, 112, WLD_RFC_2429);
    native.rtp.sequence = 65535;
    EXPECT_EQ(packetise(pkq_native_packet, native, frame, 0.5).bytes,
              join({packet(99, false, 65535, 0, slice(frame, 0, 90)),
                    packet(99, false, 0, 0, slice(frame, 90, 100)),
                    packet(99, true, 1, 0, slice(frame, 190, 60))}));
    EXPECT_EQ(native.packet_count, 0u);
    EXPECT_EQ(native.time_accumulator, 45000.0);
    EXPECT_EQ(packetise(pkq_native_packet, native, frame, 0.5, 285).result, -1);
    EXPECT_EQ(packetise(pkq_native_packet, native, frame, 0.5, 286).result, 286);
}

TEST(Pkq, AmrHasItsOwnTypeAndDropsNoDataFrames) {
    const Bytes packed = join({{0x08}, filled(5, 0x66)});
    pkq_native native = pkq_for(ISO_CODEC_SAMR, WLD_FLAG_DROP_NO_DATA);
    EXPECT_EQ(packetise(pkq_native_packet, native, join({packed, {0x0F}, packed}), 0.0).bytes,
              join({packet(99, false, 0, 0, packed), packet(99, false, 1, 320, packed)}));
}

TEST(Pkq, InitTakesTwelveBytesOffThePacketAndKnowsThreeCodecs) {
    const pkq_native fresh = pkq_for(ISO_CODEC_SAMR, 0, 1000);
    EXPECT_EQ(std::tuple(fresh.max_payload, fresh.last_source_format), std::tuple(988, 0U));
    for (int codec = -1; codec <= 9; ++codec) {
        iso_track track{};
        track.codec = codec;
        pkq_native native{};
        const bool known = codec >= 0 && codec <= 7 && codec != 6;
        EXPECT_EQ(pkq_native_init(&native, 1, 100, 0, &track, 0), known ? 0 : -1);
        const bool served = codec == 0 || codec == 2 || codec == 3;
        EXPECT_EQ(packetise(pkq_native_packet, native, Bytes{15}, 0.0).result, served ? 13 : -1) << codec;
    }
}

TEST(Pkq, HeadersArePrintedWhenAskedButForOneSkipped) {
    PKQ_RTP rtp{0, 40, 77, 1, 34, 7, 4294967295u, 0, PKQ_FLAG_PRINT | PKQ_FLAG_SKIP_PRINT};
    Bytes out(12);
    testing::internal::CaptureStderr();
    EXPECT_EQ(pkq_put_header(out.data(), &rtp), 12);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(out, slice(packet(34, true, 7, 4294967295u, filled(40, 0)), 0, 12));  // magic is 13, not 77
    testing::internal::CaptureStderr();
    pkq_put_header(out.data(), &rtp);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "seq     8, size    40, time 4294967295, marker 1, type  34, magic  77\n");
}

struct Reader {
    Bytes bytes;
    size_t at = 0;
    static size_t read(void* to, size_t size, size_t count, void* self) {
        auto* reader = static_cast<Reader*>(self);
        const size_t given = std::min(size * count, reader->bytes.size() - reader->at);
        std::memcpy(to, reader->bytes.data() + reader->at, given);
        reader->at += given;
        return given;
    }
};

TEST(Pkq, HeadersAreReadUntilTheStreamEnds) {
    Bytes header = packet(34, true, 0x1234, 0xDEADBEEF, {});
    header[0] = 1, header[2] = 2, header[3] = 3;
    Reader reader{join({header, {0, 0, 0}})};
    mfileio stream{Reader::read, &reader};
    PKQ_RTP rtp{};
    rtp.flags = PKQ_FLAG_SKIP_PRINT;
    EXPECT_EQ(pkq_get_header(&stream, &rtp), 1);
    EXPECT_EQ(std::tuple(rtp.first, rtp.size, rtp.magic), std::tuple(0x100, 0x203, 13));
    EXPECT_EQ(rtp.flags, 0u);
    header[0] = 0;  // never written
    Bytes again(12);
    pkq_put_header(again.data(), &rtp);
    EXPECT_EQ(again, header);
    EXPECT_EQ(pkq_get_header(&stream, &rtp), 0);
}

// What a header of sequence number 5 and a given magic number is told about.
TEST(Pkq, ComplaintsNeverFailTheCall) {
    const std::string header14 = "seq     5, size     0, time         90, marker 0, type  34, magic  14\n";
    const std::string header13 = "seq     5, size     0, time         90, marker 0, type  34, magic  13\n";
    const std::string bad_magic = "Bad magic number\n";
    const std::string out_of_7 = "Packet out of sequence, last seq # = 7\n";
    const struct {
        int last;
        unsigned int magic, flags;
        std::string said;
    } kCases[] = {{7, 14, 0, ""},
                  {4, 13, PKQ_FLAG_COMPLAIN, ""},
                  {65535, 13, PKQ_FLAG_COMPLAIN, ""},
                  {-2, 13, PKQ_FLAG_COMPLAIN, ""},
                  {7, 14, PKQ_FLAG_CHECK, ""},
                  {7, 13, PKQ_FLAG_COMPLAIN, out_of_7 + header13},
                  {-2, 14, PKQ_FLAG_COMPLAIN, bad_magic + header14},
                  {7, 14, PKQ_FLAG_PRINT | PKQ_FLAG_COMPLAIN, bad_magic + out_of_7}};
    for (const auto& [last, magic, flags, said] : kCases) {
        Reader reader{packet(34, false, last == 65535 ? 0 : 5, 90, filled(0, 0))};
        reader.bytes[4] = static_cast<unsigned char>(magic);
        mfileio stream{Reader::read, &reader};
        PKQ_RTP rtp{};
        rtp.sequence = last;
        rtp.flags = flags;
        testing::internal::CaptureStderr();
        EXPECT_EQ(pkq_get_header(&stream, &rtp), 1);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), said) << last << " " << magic << " " << flags;
    }
}

// 100 samples of 20,000 bytes in all, 4 seconds long.
TEST(Pkq, EstimatesCountHeadersAndBytes) {
    iso_track track{};
    track.sample_count = 100;
    track.sample_size = 200;
    track.timescale = 1000;
    track.duration = 4000;
    const struct {
        int codec, rfc_mode;
        double rate;
        int bytes;
    } kCases[] = {{ISO_CODEC_MP4V, 0, 50.0, 60000 + 20000},
                  {ISO_CODEC_AVC1, 0, 1.0, 12000 + 20000},
                  {ISO_CODEC_S263, 2190, 50.0, 80000 + 20000},
                  {ISO_CODEC_S263, 2429, 50.0, 60000 + 20000},
                  {ISO_CODEC_MP4V, 0, 116.0, 200 * 10 * 12 + 20000},   // 20,000 / 100 packets
                  {ISO_CODEC_MP4V, 0, 1016.0, 100 * 10 * 12 + 20000},  // at least one per sample
                  {ISO_CODEC_MP4A, 0, 1.0, 1200 + 20000},
                  {ISO_CODEC_SAMR, 0, 1.0, 2400 + 20000},
                  {ISO_CODEC_SAWB, 0, 1.0, 2400 + 20000},
                  {ISO_CODEC_RTP, 0, 1.0, 0}};
    for (const auto& [codec, rfc_mode, rate, bytes] : kCases) {
        track.codec = codec;
        EXPECT_EQ(pkq_buffer_estimate(&track, rfc_mode, rate), bytes) << codec << " " << rate;
    }
    EXPECT_EQ(pkq_buffer_estimate(nullptr, 0, 10.0), 0) << "no track";
}

}  // namespace
}  // namespace qlip_test
