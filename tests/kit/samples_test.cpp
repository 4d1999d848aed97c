// Every sample through the kit, whole, growing, cut and sought in, beside what a session delivers of it.
#include <algorithm>

#include "tests/kit/kit_player.h"
#include "tests/session/player.h"
#include "tests/session/sample_cases.h"
#include "tests/support/samples.h"

using namespace qlip_test;

namespace {

class KitSamples : public testing::TestWithParam<SampleCase> {
  protected:
    const Bytes file = sample(GetParam().file);
    const qlip_medium medium = GetParam().mode[1] == 'a' ? QLIP_AUDIO : QLIP_VIDEO;

    std::vector<SentFrame> whole(qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT) {
        KitPlayer player(file);
        player.play(medium, options);
        EXPECT_EQ(player.end, QLIP_END_OF_FILE);
        return player.frames;
    }
};
INSTANTIATE_TEST_SUITE_P(All, KitSamples, testing::ValuesIn(sample_cases()), sample_case_name);

bool holds_no_data(const SentFrame& frame) {
    return frame.payloads[0].size() == 2 && (frame.payloads[0][1] >> 3 & 15) == 15;
}

bool is_parameter_set(const Bytes& payload) {
    return (payload[0] & 31) == 7 || (payload[0] & 31) == 8;
}

// The packets but for what puts a decoder in order: where that stands, the native stream of hint tracks and
// the kit do not agree.
std::vector<Bytes> without_configuration(const std::vector<SentFrame>& frames, const qlip_stream_info& info) {
    const Bytes headers(info.config, info.config + info.config_size);
    std::vector<Bytes> out;
    for (Bytes payload : payloads_of(frames)) {
        const auto at = std::search(payload.begin(), payload.end(), headers.begin(), headers.end());
        if (info.codec == QLIP_MPEG4_VISUAL && at != payload.end())
            payload.erase(at, at + static_cast<long>(headers.size()));
        if (info.codec != QLIP_H264 || !is_parameter_set(payload)) out.push_back(payload);
    }
    return out;
}

bool begins_with_configuration(const SentFrame& frame, const qlip_stream_info& info) {
    const Bytes& first = frame.payloads[0];
    if (info.codec == QLIP_H264) return is_parameter_set(first) && is_parameter_set(frame.payloads.at(1));
    return info.codec != QLIP_MPEG4_VISUAL ||
           std::equal(info.config, info.config + info.config_size, first.begin());
}

std::vector<uint32_t> timestamps_of(const std::vector<SentFrame>& frames) {
    std::vector<uint32_t> out;
    for (const SentFrame& frame : frames)
        out.push_back(frame.facts.timestamp);
    return out;
}

// The frames from the first one with this time on.
std::vector<SentFrame> from_time(const std::vector<SentFrame>& frames, int64_t presentation) {
    const auto first = std::find_if(frames.begin(), frames.end(), [&](const SentFrame& frame) {
        return std::abs(frame.facts.presentation_time - presentation) < 20000;
    });
    return {first, frames.end()};
}

}  // namespace

TEST_P(KitSamples, CarryThePayloadsAndTimesOfTheNativeStream) {
    KitPlayer player(file);
    ASSERT_EQ(player.open(medium), 0);
    const qlip_stream_info& info = *qlip_stream_get_info(player.stream);
    const std::vector<SentFrame>& sent = player.rest();
    std::vector<SentFrame> native = native_frames(file, GetParam().mode);
    if (medium == QLIP_AUDIO)
        native.erase(std::remove_if(native.begin(), native.end(), holds_no_data), native.end());
    EXPECT_TRUE(without_configuration(sent, info) == without_configuration(native, info));
    EXPECT_EQ(timestamps_of(sent), timestamps_of(native));
    for (const SentFrame& frame : sent)
        EXPECT_TRUE(!frame.facts.is_sync || begins_with_configuration(frame, info));
}

TEST_P(KitSamples, CutAnywhereDeliverWhatIsThereAndThenSayThatTheyAreCut) {
    const std::vector<SentFrame> all = whole();
    const size_t step = std::max<size_t>(1, file.size() / 200);
    for (size_t cut = 0; cut < file.size(); cut += step) {
        KitPlayer player(Bytes(file.begin(), file.begin() + static_cast<long>(cut)));
        const int opened = player.open(medium);
        if (opened != 0) {
            EXPECT_EQ(opened, QLIP_CORRUPT_FILE) << cut;
            continue;
        }
        player.rest();
        EXPECT_LE(player.frames.size(), all.size());
        EXPECT_EQ(player.end, player.frames.size() == all.size() ? QLIP_END_OF_FILE : QLIP_CORRUPT_FILE)
            << cut;
        for (size_t i = 0; i < player.frames.size(); ++i)
            EXPECT_TRUE(player.frames[i].payloads == all[i].payloads) << cut;
    }
}

// With the numbers that a host may ask for.
TEST_P(KitSamples, SeekToAPlaceWhereDecodingStartsAndGoOnFromThere) {
    qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT;
    options.ssrc = 0xDEADBEEF;
    options.first_sequence = 65530;
    options.first_timestamp = 0xFFFFFF00;
    options.payload_type = 111;
    const std::vector<SentFrame> all = whole(options);
    EXPECT_EQ(all.front().facts.timestamp, 0xFFFFFF00);
    KitPlayer player(file);
    ASSERT_EQ(player.open(medium, options), 0);
    const qlip_stream_info& info = *qlip_stream_get_info(player.stream);
    EXPECT_EQ(std::tuple(info.payload_type, info.first_sequence, info.ssrc),
              std::tuple(111U, 65530U, 0xDEADBEEFU));
    for (const int64_t time : {INT64_C(1500000000), INT64_C(0), INT64_C(2900000000), INT64_C(700000000)}) {
        int64_t landed = -1;
        ASSERT_EQ(qlip_stream_seek(player.stream, time, &landed), 0);
        EXPECT_LE(landed, time);
        player.frames.clear();
        player.rest();
        ASSERT_FALSE(player.frames.empty());
        EXPECT_TRUE(player.frames.front().facts.is_sync);
        const std::vector<SentFrame> expected = from_time(all, landed);
        EXPECT_EQ(timestamps_of(player.frames), timestamps_of(expected));
        EXPECT_TRUE(player.frames.back().payloads == expected.back().payloads);
        for (const SentFrame& frame : all) {
            if (!frame.facts.is_sync || frame.facts.presentation_time > time) continue;
            EXPECT_LE(frame.facts.presentation_time, landed + 20000);
        }
    }
}

// Each time as much arrives as the kit says it needs, so that every chunk is asked for once too early.
TEST_P(KitSamples, GrowByWhatTheKitNeedsAndDeliverTheNativeStreamInChunks) {
    MemoryHost host(file);
    Player session(host, GetParam().mode, true);
    KitPlayer player(file, 0);
    qlip_source_info state = QLIP_SOURCE_INFO_INIT;
    while (player.open(medium, kInChunks) == QLIP_NOT_AVAILABLE_YET) {
        ASSERT_EQ(qlip_source_state(player.source, &state), 0);
        ASSERT_EQ(qlip_source_set_size(player.source, std::min<size_t>(state.needed, file.size())), 0);
    }
    std::vector<Bytes> chunks;
    do {
        for (const Bytes& chunk : player.rest_in_chunks())
            chunks.push_back(chunk);
    } while (player.end == QLIP_NOT_AVAILABLE_YET &&
             qlip_source_set_size(player.source, qlip_stream_needs(player.stream)) == 0);
    EXPECT_TRUE(chunks == session.rest());
    EXPECT_EQ(player.end, QLIP_END_OF_FILE);
}
