// What the stream tests share: tracks, packet records written by hand, and a fixture that runs in both read
// modes.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "session/session.h"
#include "tests/session/player.h"
#include "tests/support/little_endian.h"
#include "tests/support/movie_builder.h"

namespace qlip_test {

// An H.264 track with one set of each kind.
inline const Bytes kSps = {0x67, 0x42, 0xE0, 0x1E, 0xAA};
inline const Bytes kPps = {0x68, 0xCE, 0x3C};

inline TrackPlan h264(std::vector<Bytes> samples) {
    return video_track("avc1", avcC(4, {kSps}, {kPps}), std::move(samples));
}

// One packet of `length` bytes of a media sample.
inline HintPacket cite(unsigned int sequence, bool marker, unsigned int sample_number, unsigned int length,
                       unsigned int offset = 0, unsigned int payload_type = 96) {
    return {.sequence = sequence,
            .marker = marker,
            .payload_type = payload_type,
            .constructors = {hint_sample_data(length, sample_number, offset)}};
}

inline Bytes frame_body(std::initializer_list<Bytes> records) {
    return join({words({4, 1}), join(records)});
}

// Bytes that hold no zero.
inline Bytes run(size_t size, unsigned char first = 1) {
    Bytes bytes;
    while (bytes.size() < size)
        bytes.push_back(static_cast<unsigned char>(1 + (first++ % 250)));
    return bytes;
}

class Stream : public testing::TestWithParam<bool> {
  protected:
    void open(std::vector<TrackPlan> tracks, const char* mode = "rv") {
        player.reset();
        host = std::make_unique<MemoryHost>(build_movie({.tracks = std::move(tracks)}));
        player = std::make_unique<Player>(*host, mode, GetParam());
        ASSERT_EQ(player->opened, 0);
        host->clear_log();
    }

    // The next chunk, which must come with status 0.
    Bytes chunk() {
        Player::Step step = player->read();
        EXPECT_EQ(step.status, 0);
        EXPECT_FALSE(step.overran);
        EXPECT_EQ(step.size, Player::kSizeUntouched);
        return step.bytes;
    }

    void pass(int chunks) {
        for (; chunks > 0; --chunks)
            chunk();
    }

    // The next body's payloads, one behind the other.
    Bytes payload() {
        Bytes joined;
        for (const Packet& packet : packets_of(chunk()))
            joined.insert(joined.end(), packet.payload.begin(), packet.payload.end());
        return joined;
    }

    // The two chunks of the next frame.
    void expect_frame(const Bytes& record, const Bytes& body) {
        EXPECT_THAT(chunk(), testing::ElementsAreArray(record));
        EXPECT_THAT(chunk(), testing::ElementsAreArray(body));
    }

    void expect_frame(uint32_t frame_size, uint32_t packets, uint32_t pad, const Bytes& body) {
        expect_frame(words({frame_size, packets, pad}), body);
    }

    // The next call of a callback fails.
    void fail_once() { host->fault = MemoryHost::Fault{.slot = {}, .call = host->calls + 1}; }

    // The next call ends with `status`, and leaves the buffer alone.
    void expect_nothing(int status) {
        EXPECT_EQ(player->read_raw(), status);
        EXPECT_EQ(player->buffer(24), Bytes(24, Player::kUntouched));
    }

    // After the end each frame's first call ends again and the second one repeats the last body.
    void expect_end(const Bytes& last) {
        for (int i = 0; i < 2; ++i) {
            expect_nothing(QLIP_END_OF_FILE);
            EXPECT_EQ(player->read_raw(), 0);
            EXPECT_EQ(player->buffer(last.size()), last);
        }
    }

    std::unique_ptr<MemoryHost> host;
    std::unique_ptr<Player> player;
};

inline std::string read_mode_name(const testing::TestParamInfo<bool>& mode) {
    return mode.param ? "Indexed" : "Positioned";
}

}  // namespace qlip_test
