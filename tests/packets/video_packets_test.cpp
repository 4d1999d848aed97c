// H.263 and MPEG-4 frames as packet records, and the search for the place of their cuts.
#include <random>

#include "packets/zero_pair.h"
#include "tests/packets/packets.h"

namespace qlip_test {
namespace {

const Bytes kPBit{4, 0};

// Those that this processor can run.
std::vector<const qlip::WideSearch*> searches() {
    std::vector<const qlip::WideSearch*> found = {&qlip::kBaselineSearch};
    if (qlip::has_avx2()) found.push_back(&qlip::kAvx2Search);
    return found;
}

// Stops in front of every start code, and passes whole blocks where there is none.
TEST(WideSearch, MissesNoStartCode) {
    for (const qlip::WideSearch* wide : searches()) {
        for (const size_t length : {126U, 127U, 300U, 400U}) {
            Bytes data(length, 0x81);
            const unsigned char* begin = data.data();
            const unsigned char* end = begin + length - 3;
            const unsigned char* stop = length < 129 ? begin : end;
            EXPECT_EQ(wide->pass_without_start_codes(begin, begin, end), stop);
            for (size_t at = 0; at + 3 < length; ++at) {
                Bytes marked = data;
                marked[at] = marked[at + 1] = 0, marked[at + 2] = 1;
                begin = marked.data();
                EXPECT_LE(wide->pass_without_start_codes(begin, begin, begin + length - 3), begin + at);
            }
        }
    }
}

// A frame of bytes 0x55 but for zeros at the places given.
Bytes frame_with_zeros(size_t size, const std::vector<size_t>& zeros) {
    Bytes frame = filled(size, 0x55);
    for (const size_t at : zeros)
        frame.at(at) = 0;
    return frame;
}

// Where the first cut of a 200-byte MPEG-4 frame falls with a room of 100, by the zero bytes in it.
TEST(VideoPackets, TheFirstCutFallsAtTheLastPairInTheRoom) {
    const struct {
        const char* why;
        std::vector<size_t> zeros;
        size_t cut;
    } kCases[] = {{"not within the first eight bytes", {5, 6}, 100},
                  {"not at a pair that begins in byte seven", {7, 8}, 100},
                  {"at byte eight", {8, 9}, 8},
                  {"at the last pair in the room", {98, 99}, 98},
                  {"not at a pair that ends behind the room", {99, 100}, 100},
                  {"a single zero is no pair", {50, 52}, 100},
                  {"three zeros hold one pair", {50, 51, 52}, 50},
                  {"four zeros hold two", {50, 51, 52, 53}, 52},
                  {"pairs count from where the walk enters the run", {5, 6, 7, 8, 9, 10, 11, 12}, 10}};
    for (const auto& [why, zeros, cut] : kCases) {
        const Bytes frame = frame_with_zeros(200, zeros);
        wld_native native = native_for(ISO_CODEC_MP4V);
        native.max_payload = 100;
        const Result made = packetise(wld_video_packet, native, frame, 0.1);
        EXPECT_EQ(slice(made.bytes, 0, 20 + cut), records({{102, false, 0, 0, slice(frame, 0, cut)}})) << why;
    }
}

TEST(VideoPackets, ARecordThatDoesNotFitEndsWithFailureAndNothingBeyondTheBuffer) {
    const Bytes frame = filled(3000, 0x55);
    for (const int out_size : {0, 19, 1419, 1420, 2000, 3060 - 1}) {
        wld_native native = native_for(ISO_CODEC_MP4V);
        EXPECT_EQ(packetise(wld_video_packet, native, frame, 0.1, out_size).result, -1) << out_size;
        EXPECT_EQ(native.packet_count, out_size < 1420 ? 0u : 1u + (out_size >= 2840)) << out_size;
    }
    wld_native native = native_for(ISO_CODEC_MP4V);
    EXPECT_EQ(packetise(wld_video_packet, native, frame, 0.1, 3060).result, 3060);
}

TEST(VideoPackets, NothingComesOfNoInputButTimePasses) {
    for (const int in_size : {0, -2}) {
        wld_native native = native_for(ISO_CODEC_S263, WLD_RFC_2429);
        EXPECT_EQ(wld_video_packet(nullptr, 0, nullptr, in_size, 0.5, &native), 0);
        EXPECT_EQ(native.time_accumulator, 45000.0);
    }
}

TEST(VideoPackets, TwoZeroBytesAloneMakeAnEmptyPictureSegment) {
    wld_native native = native_for(ISO_CODEC_S263, WLD_RFC_2429);
    EXPECT_EQ(packetise(wld_video_packet, native, {0, 0}, 0.1).bytes, records({{34, true, 0, 0, kPBit}}));
}

TEST(VideoPackets, APayloadWithoutRoomFailsAtOnce) {
    for (const int room : {0, -5, -2147483647 - 1}) {
        wld_native native = native_for(ISO_CODEC_S263, WLD_RFC_2429);
        native.max_payload = room;
        EXPECT_EQ(packetise(wld_video_packet, native, filled(10, 1), 0.1).result, -1);
    }
}

TEST(VideoPackets, TimestampsRoundAndWrapBelowTwoToThe32) {
    wld_native native = native_for(ISO_CODEC_MP4V);
    const Bytes one{1};
    const auto next = [&] { return packetise(wld_video_packet, native, one, 1.0 / 32).bytes; };
    EXPECT_EQ(next(), records({{102, true, 0, 0, one}}));  // a frame has 2812.5 ticks
    EXPECT_EQ(next(), records({{102, true, 1, 2813, one}}));
    native.time_accumulator = 4294966000.5;  // + 2812.5 = 4294968813, less 4294967295
    native.rtp.sequence = 65535;
    EXPECT_EQ(next(), records({{102, true, 65535, 4294966001, one}}));
    EXPECT_EQ(next(), records({{102, true, 0, 1518, one}}));
    native.time_accumulator = 4294967295.5;  // not above the limit: rounds up to 2^32, which is 0 in 32 bits
    EXPECT_EQ(next(), records({{102, true, 1, 0, one}}));
}

TEST(VideoPackets, CutsAreToldOnStderrWhenAsked) {
    const Bytes frame = frame_with_zeros(3000, {1200, 1201});
    wld_native native = native_for(ISO_CODEC_MP4V, 0, static_cast<int>(WLD_FLAG_VERBOSE));
    testing::internal::CaptureStderr();
    packetise(wld_video_packet, native, frame, 0.1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Fragmenting payload: old_len=3000 new_len=1200, at start code\n"
              "Fragmenting payload: old_len=1800 new_len=1400, at arbitrary position\n");
}

int kept(void*, int, void*, int, double, wld_native*) {
    return 4711;
}

// The packet size counts for H.264 alone, and tracks without a packetiser keep what was there.
TEST(WldNative, InitSetsWhatTheCodecHas) {
    const struct {
        int codec, result, clock_rate, max_payload;
        wld_packetiser packetise;
    } kCases[] = {{ISO_CODEC_MP4V, 0, 90000, 1400, wld_video_packet},
                  {ISO_CODEC_S263, 0, 90000, 1400, wld_video_packet},
                  {ISO_CODEC_SAMR, 0, 8000, 1400, wld_amr_packet},
                  {ISO_CODEC_SAWB, 0, 16000, 1400, wld_amr_packet},
                  {ISO_CODEC_AVC1, 0, 90000, 500, wld_rfc3984_packet},
                  {ISO_CODEC_MP4A, 0, 7, 1400, kept},
                  {ISO_CODEC_SAWP, 0, 7, 1400, kept},
                  {6, -1, 7, 1400, kept},
                  {ISO_CODEC_RTP, -1, 7, 1400, kept},
                  {ISO_CODEC_NONE, -1, 7, 1400, kept}};
    for (const auto& [codec, result, clock_rate, max_payload, packetiser] : kCases) {
        iso_track track{};
        track.codec = codec;
        wld_native native;
        std::memset(&native, 0x55, sizeof native);
        native.clock_rate = 7;
        native.packetise = kept;
        EXPECT_EQ(wld_native_init(&native, 0, 500, 0, &track, 0), result) << codec;
        EXPECT_EQ(native.clock_rate, clock_rate) << codec;
        EXPECT_EQ(native.max_payload, max_payload) << codec;
        EXPECT_EQ(native.packetise, packetiser) << codec;
        EXPECT_EQ(std::tuple(native.time_accumulator, native.rtp.sequence, native.rtp.timestamp,
                             native.rtp.marker, native.last_source_format),
                  std::tuple(0.0, 0U, 0U, 0U, 0U));
    }
    wld_native none{};
    EXPECT_EQ(packetise(wld_native_packet, none, {1, 2, 3}, 1.0).result, -1);
}

// The vector search for the last pair of zero bytes stands for this walk.
const unsigned char* walk(const unsigned char* at, const unsigned char* end) {
    const unsigned char* last = nullptr;
    while (end - at >= 2) {
        const bool pair = at[0] == 0 && at[1] == 0;
        if (pair) last = at;
        at += pair ? 2 : 1;
    }
    return last;
}

TEST(ZeroPair, SearchMeetsTheSamePairAsTheWalk) {
    std::mt19937 random(2190);
    for (const unsigned int one_in : {1u, 2u, 3u, 8u, 40u, 400u}) {  // 1: all zero
        for (size_t size = 0; size < 300; ++size) {
            std::vector<unsigned char> bytes(size);
            const size_t run = 1 + (size % 4 == 0 ? random() % 100 : 0);
            for (size_t i = 0; i < size; ++i)
                bytes[i] = i % run != 0 ? bytes[i - 1] : random() % one_in == 0 ? 0 : 0x80;
            const unsigned char* end = bytes.data() + size;
            for (size_t from = 0; from <= std::min<size_t>(size, 20); ++from) {
                const unsigned char* begin = bytes.data() + from;
                for (const qlip::WideSearch* wide : searches())
                    ASSERT_EQ(qlip::last_walked_zero_pair(begin, end, *wide), walk(begin, end))
                        << one_in << " " << size;
            }
        }
    }
}

}  // namespace
}  // namespace qlip_test
