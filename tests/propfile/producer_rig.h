// What the tests of the producers share: expected bytes, parameters, refusals.
#pragma once

#include <gmock/gmock.h>

#include "qlip/SimpleException.h"
#include "tests/propfile/reader_stub.h"
#include "tests/support/movie_builder.h"

namespace qlip_test {

constexpr unsigned int kBadContent = 22136;
constexpr unsigned int kNotThereYet = 4660;

// Little-endian fields, as the native stream has them.
class StreamBytes {
  public:
    StreamBytes& text(std::string_view characters) { return append(characters.begin(), characters.end()); }
    StreamBytes& u16(unsigned int value) { return raw({byte(value), byte(value >> 8)}); }
    StreamBytes& u32(unsigned int value) { return u16(value).u16(value >> 16); }
    StreamBytes& zeros(size_t count) { return raw(Bytes(count)); }
    StreamBytes& raw(const Bytes& bytes) { return append(bytes.begin(), bytes.end()); }
    operator Bytes() const { return bytes_; }

  private:
    static unsigned char byte(unsigned int value) { return static_cast<unsigned char>(value); }
    template <class Iterator>
    StreamBytes& append(Iterator first, Iterator last) {
        bytes_.insert(bytes_.end(), first, last);
        return *this;
    }
    Bytes bytes_;
};

// What waits in the producer's buffer.
inline Bytes waiting(PropFile& producer) {
    unsigned int count = 0;
    const unsigned char* bytes = producer.GetBuffer(&count);
    return {bytes, bytes + count};
}

inline void drain(PropFile& producer) {
    producer.OffsetBytes(producer.ByteCount());
}

inline _TAG_AUDIO_OPEN_PARAMS amr_params() {
    return {.uLengthMs = 1234, .uFrameCount = 61, .uCoder = 10, .uSampleRate = 8000, .uBitRate = 12200};
}

inline _TAG_VIDEO_OPEN_PARAMS video_params(unsigned int frame_bytes = 2000) {
    _TAG_VIDEO_OPEN_PARAMS params{};
    params.uAudioNTS = 7;
    params.uVideoNTS = 45000;
    params.uLengthMs = 3000;
    params.uFrameCount = 44;
    params.uWidth = 176;
    params.uHeight = 144;
    params.dFramesPerSecond = 14.0;
    params.uBitRate = 64000;
    params.uH263Profile = 3;
    params.uH263Level = 20;
    params.uMaxFrameBytes = frame_bytes;
    return params;
}

// The message of the SimpleException that `call` throws; fails the test when it throws none.
template <class Call>
std::string refusal(Call call) {
    try {
        call();
    } catch (const SimpleException& failure) {
        return failure.m_message;
    }
    ADD_FAILURE() << "nothing was thrown";
    return {};
}

}  // namespace qlip_test
