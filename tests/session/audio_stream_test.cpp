// The AMR streams, chunk by chunk against records written by hand, with the host's calls.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "session/session.h"
#include "tests/session/player.h"
#include "tests/support/little_endian.h"
#include "tests/support/movie_builder.h"

using namespace qlip_test;
using testing::ElementsAreArray;

namespace {

constexpr unsigned int kMediaStart = 32;  // ftyp and the header of mdat

// A frame of `size` bytes: table-of-contents byte for `mode`, then a run of numbers.
Bytes frame(unsigned int mode, size_t size, unsigned char first = 1) {
    Bytes bytes{static_cast<unsigned char>(mode << 3 | 4)};
    while (bytes.size() < size)
        bytes.push_back(first++);
    return bytes;
}

Bytes header_chunk(uint32_t frame_bytes, uint32_t word, uint32_t timestamp, uint32_t sequence) {
    return words({frame_bytes + 25, word, timestamp, timestamp, sequence, 0});
}

Bytes payload_chunk(unsigned char cmr, const Bytes& speech) {
    return join({Bytes{cmr}, speech});
}

TrackPlan narrowband(std::vector<Bytes> samples, unsigned int frames_per_sample = 1) {
    return {.samples = std::move(samples), .sample_entry = samr_entry(damr(frames_per_sample))};
}

TrackPlan wideband(std::vector<Bytes> samples, unsigned int frames_per_sample = 1) {
    return {.timescale = 16000,
            .samples = std::move(samples),
            .delta = 320,
            .sample_entry = sawb_entry(damr(frames_per_sample))};
}

class AudioStream : public testing::TestWithParam<bool> {
  protected:
    // A host over the track, a player on it, and the four header chunks already taken.
    void play(const TrackPlan& track) {
        player.reset();
        host = std::make_unique<MemoryHost>(build_movie({.tracks = {track}}));
        player = std::make_unique<Player>(*host, "ra", GetParam());
        ASSERT_EQ(player->opened, 0);
        header.clear();
        for (int i = 0; i < 4; ++i)
            header.push_back(player->read().bytes);
        host->clear_log();
    }

    void expect_frame(const Bytes& record, const Bytes& payload) {
        const Player::Step first = player->read();
        EXPECT_EQ(first.status, 0);
        EXPECT_THAT(first.bytes, ElementsAreArray(record));
        const Player::Step second = player->read();
        EXPECT_EQ(second.status, 0);
        EXPECT_THAT(second.bytes, ElementsAreArray(payload));
        EXPECT_FALSE(first.overran || second.overran);
        EXPECT_EQ(second.size, Player::kSizeUntouched);
    }

    std::unique_ptr<MemoryHost> host;
    std::unique_ptr<Player> player;
    std::vector<Bytes> header;
};

INSTANTIATE_TEST_SUITE_P(ReadModes, AudioStream, testing::Bool(),
                         [](const auto& mode) { return mode.param ? "Indexed" : "Positioned"; });

using Call = MemoryHost::Call;

}  // namespace

TEST_P(AudioStream, FramesOfEveryModeFromHeaderToEnd) {
    const struct {
        bool wide;
        unsigned int bytes[16];  // of a frame, with its first byte
        unsigned char cmr[16];   // of its payload, when the modes come one after the other
        uint32_t word, ticks;
        Bytes codec_header;
    } kCases[] = {{false,
                   {13, 14, 16, 18, 20, 21, 27, 32, 6, 1, 1, 1, 1, 1, 1, 1},
                   {0, 16, 32, 48, 64, 80, 96, 112, 112, 112, 112, 112, 112, 112, 112, 112},
                   10,
                   160,
                   words({16, 33, 64, 8})},
                  {true,
                   {18, 24, 33, 37, 41, 47, 51, 59, 61, 6, 35, 46, 61, 61, 1, 1},
                   {0, 16, 32, 48, 64, 80, 96, 112, 128, 128, 128, 128, 128, 128, 128, 128},
                   20,
                   320,
                   words({16, 51, 128, 16})}};
    for (const auto& [wide, bytes, cmr, word, ticks, codec_header] : kCases) {
        std::vector<Bytes> frames;
        for (unsigned int mode = 0; mode < 16; ++mode)
            frames.push_back(frame(mode, bytes[mode]));
        frames.push_back(frame(0, bytes[0]));
        frames.push_back(frame(15, 1));
        play(wide ? wideband(frames) : narrowband(frames));
        EXPECT_EQ(header[0], join({Bytes{'A', 'U', 'D', 'I', 'O', ' ', ' ', ' '}, words({68, 10, 0, 18})}));
        EXPECT_EQ(header[1], codec_header);
        EXPECT_EQ(header[2], words({0, 0, 0}));
        EXPECT_EQ(header[3], words({360, 0xCCCCCCCC, 0xCCCCCCCC, 0xCCCCCCCC}));
        for (uint32_t i = 0; i < 18; ++i) {
            const auto size = static_cast<uint32_t>(frames[i].size());
            expect_frame(header_chunk(size, word, i * ticks, i),
                         payload_chunk(i < 16 ? cmr[i] : 0, frames[i]));
        }
        EXPECT_EQ(player->read().status, 1);
    }
}

TEST_P(AudioStream, FramesWithoutSpeechAskForModeZeroUntilSpeechComes) {
    play(narrowband({frame(8, 6), frame(7, 32)}));
    expect_frame(header_chunk(6, 10, 0, 0), payload_chunk(0x00, frame(8, 6)));
    expect_frame(header_chunk(32, 10, 160, 1), payload_chunk(0x70, frame(7, 32)));
}

TEST_P(AudioStream, ASampleOfSeveralFramesIsReadOnceAndReportedOnce) {
    const Bytes a = frame(7, 32), b = frame(8, 6), c = frame(2, 16, 50), d = frame(1, 14, 90);
    TrackPlan track = narrowband({join({a, b, c}), d}, 3);
    track.stts = {{1, 480}, {1, 160}};
    play(track);
    EXPECT_EQ(word_at(header[0], 20), 4U) << "480 / 160 frames and one more";
    expect_frame(header_chunk(32, 10, 0, 0), payload_chunk(0x70, a));
    expect_frame(header_chunk(6, 10, 160, 1), payload_chunk(0x70, b));
    expect_frame(header_chunk(16, 10, 320, 2), payload_chunk(0x20, c));
    EXPECT_EQ(host->log.size(), GetParam() ? 2U : 3U) << "carried frames cost no call";
    expect_frame(header_chunk(14, 10, 480, 3), payload_chunk(0x10, d));
    EXPECT_EQ(player->read().status, 1);
}

TEST_P(AudioStream, ASampleMayFillTheWholeBufferButNotMore) {
    Bytes many;
    for (int i = 0; i < 2000; ++i)
        many = join({std::move(many), frame(7, 32, static_cast<unsigned char>(i))});
    ASSERT_EQ(many.size(), 64000U);
    play(narrowband({many}, 0));
    player->check_guard = false;
    const std::vector<Bytes> chunks = player->rest();
    ASSERT_EQ(chunks.size(), 4000U);
    Bytes speech;
    for (size_t i = 1; i < chunks.size(); i += 2)
        speech.insert(speech.end(), chunks[i].begin() + 1, chunks[i].end());
    EXPECT_EQ(speech, many);
    many.push_back(0);
    play(narrowband({many}));
    const Player::Step step = player->read();
    EXPECT_EQ(step.status, 1);
    EXPECT_EQ(player->buffer(24), Bytes(24, Player::kUntouched));
}

TEST_P(AudioStream, FrameCountFollowsDurationsUnlessEachSampleIsOneFrame) {
    const struct {
        unsigned int frames_per_sample;
        std::vector<std::pair<unsigned int, unsigned int>> stts;
        unsigned int narrow, wide;
    } kCases[] = {
        {1, {{3, 480}}, 3, 3},                           // the samples
        {3, {{3, 480}}, 9, 3},                           // 3 * 3 and 3 * 1
        {0, {{2, 800}, {1, 319}}, 11, 4},                // 2 * 5 + 1 and 2 * 2 + 0
        {2, {{3, 0xFFFFFEC0}}, 0xFFFFFFFA, 0xFFFFFFFD},  // a delta of -320, in 32 bits
    };
    for (const auto& [frames_per_sample, stts, narrow, wide] : kCases) {
        const std::vector<Bytes> samples(3, frame(15, 1));
        for (const bool is_wide : {false, true}) {
            TrackPlan track = (is_wide ? wideband : narrowband)(samples, frames_per_sample);
            track.stts = stts;
            play(track);
            EXPECT_EQ(word_at(header[0], 20), is_wide ? wide : narrow);
        }
    }
}

TEST_P(AudioStream, TimestampsWrapOneShortOfTwoToThe32AndSequencesAt16Bits) {
    play(narrowband(std::vector<Bytes>(4, frame(15, 1))));
    player->handle->audio_clock = 4294967040U;
    player->handle->audio_sequence = 65534;
    expect_frame(header_chunk(1, 10, 4294967040U, 65534), payload_chunk(0, frame(15, 1)));
    expect_frame(header_chunk(1, 10, 4294967200U, 65535), payload_chunk(0, frame(15, 1)));
    expect_frame(header_chunk(1, 10, 65, 0), payload_chunk(0, frame(15, 1)));
    expect_frame(header_chunk(1, 10, 225, 1), payload_chunk(0, frame(15, 1)));
}

TEST_P(AudioStream, DataNotThereYetGivesTheStandInAndLosesNothing) {
    for (const bool wide : {false, true}) {
        const Bytes speech = wide ? frame(0, 18) : frame(0, 13);
        play(wide ? wideband({speech, speech}) : narrowband({speech, speech}));
        for (int frame_number = 0; frame_number < 2; ++frame_number) {
            host->fault = MemoryHost::Fault{.slot = {}, .call = host->calls + 1};
            const Player::Step step = player->read();
            EXPECT_EQ(step.status, 17);
            EXPECT_EQ(step.size, 0U);
            Bytes stand_in = words({0, 20, 0, 0, 0});
            stand_in.push_back(Player::kUntouched);
            EXPECT_EQ(player->buffer(21), stand_in);
            const auto number = static_cast<uint32_t>(frame_number);
            expect_frame(header_chunk(wide ? 18 : 13, wide ? 20 : 10, number * (wide ? 320 : 160), number),
                         payload_chunk(0, speech));
        }
        EXPECT_EQ(player->read().status, 1);
    }
}

TEST_P(AudioStream, TheEndRepeatsTheLastPayloadAndEndsAgain) {
    play(narrowband({frame(7, 32)}));
    player->read();
    const Bytes payload = player->read().bytes;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(player->read_raw(), 1);
        EXPECT_EQ(player->buffer(24), Bytes(24, Player::kUntouched));
        EXPECT_EQ(player->read_raw(), 0);
        EXPECT_EQ(player->buffer(33), payload);
    }
}

TEST_P(AudioStream, TheReadModeMayChangeFromCallToCallAndAStatusHas16Bits) {
    const Bytes speech = frame(0, 13);
    play(narrowband({speech, speech}));
    host->fault = MemoryHost::Fault{.slot = Slot::AdvanceRead, .call = 1, .status = 0x30000};
    player->indexed = true;
    expect_frame(header_chunk(13, 10, 0, 0), payload_chunk(0, speech));
    player->indexed = false;
    expect_frame(header_chunk(13, 10, 160, 1), payload_chunk(0, speech));
    const std::vector<Call> expected = {{Slot::IndexRead, kMediaStart, 13, 13, 0},
                                        {Slot::AdvanceRead, kMediaStart + 13, 0, 0, 0x30000},
                                        {Slot::Seek, kMediaStart + 13, 0, 0, 0},
                                        {Slot::SeekNRead, kMediaStart + 13, 13, 13, 0},
                                        {Slot::Seek, kMediaStart + 26, 0, 0, 0}};
    EXPECT_EQ(host->log, expected);
}

// The last frame says 32 bytes, 6 are there: 26 come from what the buffer held, and the carry becomes 65,536
// - 26.
TEST_P(AudioStream, NarrowbandCarryWrapsAfterATruncatedFrame) {
    const Bytes good = frame(7, 32), cut = frame(7, 6, 200);
    play(narrowband({good, cut, frame(0, 13)}));
    expect_frame(header_chunk(32, 10, 0, 0), payload_chunk(0x70, good));
    Bytes patched = good;
    std::copy(cut.begin(), cut.end(), patched.begin());
    expect_frame(header_chunk(32, 10, 160, 1), payload_chunk(0x70, patched));
    EXPECT_EQ(player->handle->carry_size, 65510);
    expect_frame(header_chunk(13, 10, 320, 2),
                 payload_chunk(0, Bytes(13, 0)));  // the carry buffer is still zero
    EXPECT_EQ(player->handle->carry_size, 65497);
    player->check_guard = false;
    for (int i = 0; i < 20000; ++i)
        ASSERT_EQ(player->read().status, 0) << "a carried frame neither ends nor waits";
}

TEST_P(AudioStream, WidebandCarryEndsWithATruncatedFrame) {
    const Bytes good = frame(0, 18), cut = frame(0, 6, 200);
    play(wideband({join({good, cut}), good}));
    expect_frame(header_chunk(18, 20, 0, 0), payload_chunk(0, good));
    Bytes shifted = join({good, cut});  // six bytes moved to the front, the rest as it was
    std::copy(cut.begin(), cut.end(), shifted.begin());
    shifted.resize(18);
    expect_frame(header_chunk(18, 20, 320, 1), payload_chunk(0, shifted));
    expect_frame(header_chunk(18, 20, 640, 2), payload_chunk(0, good));
    EXPECT_EQ(player->read().status, 1);
}

TEST_P(AudioStream, AnEmptySampleRepeatsTheBufferForNarrowbandAndNothingForWideband) {
    const Bytes narrow = frame(7, 32), wide = frame(0, 18);
    play(narrowband({narrow, {}, narrow}));
    expect_frame(header_chunk(32, 10, 0, 0), payload_chunk(0x70, narrow));
    expect_frame(header_chunk(32, 10, 160, 1), payload_chunk(0x70, narrow));
    EXPECT_EQ(player->handle->carry_size, 65504);
    play(wideband({wide, {}, wide}));
    expect_frame(header_chunk(18, 20, 0, 0), payload_chunk(0, wide));
    EXPECT_EQ(player->read_raw(), 0);
    EXPECT_EQ(player->buffer(24), Bytes(24, Player::kUntouched));
    EXPECT_EQ(player->handle->stage, 5);
}

// Shifting frames to the front leaves the last one of the sample there, over and over.
TEST_P(AudioStream, WhatAShortReadLeavesOutIsWhatTheBufferHeld) {
    const Bytes a = frame(0, 13, 1), b = frame(0, 13, 50), c = frame(0, 13, 100);
    play(narrowband({join({a, b, c}), a}));
    for (int i = 0; i < 6; ++i)
        player->read();
    host->most_per_read = 1;
    Bytes expected = c;
    expected[0] = a[0];
    expect_frame(header_chunk(13, 10, 480, 3), payload_chunk(0, expected));
}
