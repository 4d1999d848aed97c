// The AMR streams, chunk by chunk against records written by hand, with the host's calls.
#include "tests/session/stream_fixture.h"

using namespace qlip_test;

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

class AudioStream : public Stream {
  protected:
    // Opens, and takes the four header chunks.
    void play(const TrackPlan& track) {
        open({track}, "ra");
        header.clear();
        for (int i = 0; i < 4; ++i)
            header.push_back(chunk());
        host->clear_log();
    }

    std::vector<Bytes> header;
};

INSTANTIATE_TEST_SUITE_P(ReadModes, AudioStream, testing::Bool(), read_mode_name);

}  // namespace

TEST_P(AudioStream, FramesOfEveryModeFromHeaderToEnd) {
    const struct {
        bool wide;
        unsigned int bytes[16];  // of a frame, with its first byte
        unsigned char highest;   // mode that the CMR byte can ask for
        uint32_t word, ticks;
        Bytes codec_header;
    } kCases[] = {
        {false, {13, 14, 16, 18, 20, 21, 27, 32, 6, 1, 1, 1, 1, 1, 1, 1}, 7, 10, 160, words({16, 33, 64, 8})},
        {true,
         {18, 24, 33, 37, 41, 47, 51, 59, 61, 6, 35, 46, 61, 61, 1, 1},
         8,
         20,
         320,
         words({16, 51, 128, 16})}};
    for (const auto& [wide, bytes, highest, word, ticks, codec_header] : kCases) {
        // The first frame carries no speech, and so asks for mode 0 as there was no other; so does the one
        // behind all others, which asks for mode 0 itself.
        std::vector<Bytes> frames = {frame(9, bytes[9])};
        for (unsigned int mode = 0; mode < 16; ++mode)
            frames.push_back(frame(mode, bytes[mode]));
        frames.push_back(frame(0, bytes[0]));
        play(speech_track(frames, 1, wide));
        EXPECT_EQ(header[0], join({Bytes{'A', 'U', 'D', 'I', 'O', ' ', ' ', ' '}, words({68, 10, 0, 18})}));
        EXPECT_EQ(header[1], codec_header);
        EXPECT_EQ(header[2], words({0, 0, 0}));
        EXPECT_EQ(header[3], words({360, 0xCCCCCCCC, 0xCCCCCCCC, 0xCCCCCCCC}));
        for (uint32_t i = 0; i < 18; ++i) {
            const uint32_t asked = i == 0 || i == 17 ? 0 : std::min<uint32_t>(i - 1, highest);
            expect_frame(header_chunk(static_cast<uint32_t>(frames[i].size()), word, i * ticks, i),
                         payload_chunk(static_cast<unsigned char>(asked << 4), frames[i]));
        }
        expect_end(payload_chunk(0, frames[17]));
    }
}

TEST_P(AudioStream, ASampleOfSeveralFramesIsReadOnceAndReportedOnce) {
    const Bytes a = frame(7, 32), b = frame(8, 6), c = frame(2, 16, 50), d = frame(1, 14, 90);
    TrackPlan track = speech_track({join({a, b, c}), d}, 3);
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
    const Bytes full(64000, 0x78);  // a table-of-contents byte that makes a frame of 1 byte
    play(speech_track({full, join({full, Bytes{0x78}})}));
    player->check_guard = false;
    EXPECT_EQ(player->rest().size(), 2 * full.size());
    EXPECT_EQ(player->end, 1);
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
        for (const bool is_wide : {false, true}) {
            TrackPlan track = speech_track({3, frame(15, 1)}, frames_per_sample, is_wide);
            track.stts = stts;
            play(track);
            EXPECT_EQ(word_at(header[0], 20), is_wide ? wide : narrow);
        }
    }
}

TEST_P(AudioStream, TimestampsWrapOneShortOfTwoToThe32AndSequencesAt16Bits) {
    play(speech_track({4, frame(15, 1)}));
    player->handle->audio_clock = 4294967040U;
    player->handle->audio_sequence = 65534;
    const std::pair<uint32_t, uint32_t> expected[] = {
        {4294967040U, 65534}, {4294967200U, 65535}, {65, 0}, {225, 1}};
    for (const auto& [timestamp, sequence] : expected)
        expect_frame(header_chunk(1, 10, timestamp, sequence), payload_chunk(0, frame(15, 1)));
}

TEST_P(AudioStream, DataNotThereYetGivesTheSameStandInForBothCodecsAndLosesNothing) {
    for (const bool wide : {false, true}) {
        const Bytes speech = wide ? frame(0, 18) : frame(0, 13);
        play(speech_track({speech}, 1, wide));
        fail_once();
        const Player::Step step = player->read();
        EXPECT_EQ(step.status, 17);
        EXPECT_EQ(step.size, 0U);
        EXPECT_EQ(player->buffer(21), join({words({0, 20, 0, 0, 0}), Bytes{Player::kUntouched}}));
        expect_frame(header_chunk(wide ? 18 : 13, wide ? 20 : 10, 0, 0), payload_chunk(0, speech));
        EXPECT_EQ(player->read().status, 1);
    }
}

TEST_P(AudioStream, TheReadModeMayChangeFromCallToCallAndAStatusHas16Bits) {
    const Bytes speech = frame(0, 13);
    play(speech_track({speech, speech}));
    host->fault = MemoryHost::Fault{.slot = Slot::AdvanceRead, .call = 1, .status = 0x30000};
    player->indexed = true;
    expect_frame(header_chunk(13, 10, 0, 0), payload_chunk(0, speech));
    player->indexed = false;
    expect_frame(header_chunk(13, 10, 160, 1), payload_chunk(0, speech));
    const std::vector<MemoryHost::Call> expected = {{Slot::IndexRead, kMediaStart, 13, 13, 0},
                                                    {Slot::AdvanceRead, kMediaStart + 13, 0, 0, 0x30000},
                                                    {Slot::Seek, kMediaStart + 13, 0, 0, 0},
                                                    {Slot::SeekNRead, kMediaStart + 13, 13, 13, 0},
                                                    {Slot::Seek, kMediaStart + 26, 0, 0, 0}};
    EXPECT_EQ(host->log, expected);
}

TEST_P(AudioStream, WidebandCarryEndsWithATruncatedFrameAndAnEmptySampleDeliversNothing) {
    const Bytes good = frame(0, 18), cut = frame(0, 6, 200);
    play(speech_track({join({good, cut}), good, {}, good}, 1, true));
    expect_frame(header_chunk(18, 20, 0, 0), payload_chunk(0, good));
    Bytes shifted = join({cut, slice(good, 6, 12)});  // six bytes moved to the front, the rest as it was
    expect_frame(header_chunk(18, 20, 320, 1), payload_chunk(0, shifted));
    expect_frame(header_chunk(18, 20, 640, 2), payload_chunk(0, good));
    expect_nothing(0);
    EXPECT_EQ(player->handle->stage, 5);
}

// Shifting frames to the front leaves the last one of the sample there, over and over.
TEST_P(AudioStream, WhatAShortReadLeavesOutIsWhatTheBufferHeld) {
    const Bytes a = frame(0, 13, 1), b = frame(0, 13, 50), c = frame(0, 13, 100);
    play(speech_track({join({a, b, c}), a}));
    pass(6);
    host->most_per_read = 1;
    expect_frame(header_chunk(13, 10, 480, 3), payload_chunk(0, join({slice(a, 0, 1), slice(c, 1, 12)})));
}
