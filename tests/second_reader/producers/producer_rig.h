// What the tests of the producers share: parameters, and what came of a call.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/second_reader/producers/reader_stub.h"
#include "tests/support/failures.h"
#include "tests/support/little_endian.h"
#include "tests/support/movie_builder.h"

namespace qlip_test {

constexpr unsigned int kBadContent = 22136;
constexpr unsigned int kNotThereYet = 4660;

// What waits in the producer's buffer.
inline Bytes waiting(PropFile& producer) {
    unsigned int count = 0;
    const unsigned char* bytes = producer.GetBuffer(&count);
    return {bytes, bytes + count};
}

inline unsigned int length_of(const Bytes& bytes) {
    return static_cast<unsigned int>(bytes.size());
}

inline _TAG_AUDIO_OPEN_PARAMS amr_params() {
    return {.uLengthMs = 1234, .uFrameCount = 61, .uCoder = 10, .uSampleRate = 8000, .uBitRate = 12200};
}

inline _TAG_VIDEO_OPEN_PARAMS video_params(unsigned int frame_bytes = 2000, const Bytes& config = {}) {
    return {.uCodec = 0,
            .uAudioNTS = 7,
            .uVideoNTS = 45000,
            .uLengthMs = 3000,
            .uFrameCount = 44,
            .uWidth = 176,
            .uHeight = 144,
            .dFramesPerSecond = 14.0,
            .uBitRate = 64000,
            .uConfigSize = length_of(config),
            .pConfig = config.data(),
            .uH263Profile = 3,
            .uH263Level = 20,
            .uMaxFrameBytes = frame_bytes};
}

// Both kinds of producer on one reader.
struct Producers {
    Producers() { audio.Open(&audio_parameters), video.Open(&video_parameters); }

    // What waits behind a hint sample that has to be good.
    Bytes built(PropFile& producer, const Bytes& hint, double seconds = 0.0) {
        EXPECT_EQ(reader.build(producer, hint, seconds), std::nullopt);
        return waiting(producer);
    }

    ReaderStub reader;
    _TAG_AUDIO_OPEN_PARAMS audio_parameters = amr_params();
    _TAG_VIDEO_OPEN_PARAMS video_parameters = video_params();
    PropFileAudio audio{&reader};
    PropFileVideoH263 video{&reader};
};

}  // namespace qlip_test
