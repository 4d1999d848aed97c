// A reader without a file: it shows a producer one hint sample and one media sample, each in a block of
// exactly its size, so that the address sanitizer sees a step beyond either. Free of the test framework, for
// the fuzz target.
#pragma once

#include <algorithm>
#include <optional>

#include "qlip/c3gpinterface.h"
#include "tests/support/memory_host.h"

namespace qlip_test {

class ReaderStub : public C3gpInterface {
  public:
    // Media sample `number` of a track of `count`. An empty one is a sample that is not there yet.
    void show_media(const Bytes& bytes, unsigned int number = 1, unsigned int count = 1) {
        delete[] m_pMediaBuffer;
        delete[] m_pSampleInfo;
        m_pMediaBuffer = copy(bytes);
        m_pSampleInfo = new _TAG_SAMPLEINFO[count]();
        m_uMediaBufferBytes = m_pSampleInfo[number - 1].uSize = size_of(bytes);
        m_uMediaSampleCount = count;
        m_uCachedMediaSample = number;
    }

    // Has the producer build a frame. Result: the signal that it threw, if any.
    std::optional<unsigned int> build(PropFile& producer, const Bytes& hint, double seconds = 0.0) {
        delete[] m_pHintBuffer;
        m_pHintBuffer = copy(hint);
        m_SampleSizes = {size_of(hint)};
        try {
            producer.PacketizeFrame(m_pHintBuffer, seconds);
        } catch (unsigned int signal) {
            return signal;
        }
        return std::nullopt;
    }

    // The hint sample of the last frame, behind its own header.
    const unsigned char* first_packet() const { return m_pHintBuffer + 4; }

  private:
    static unsigned int size_of(const Bytes& bytes) { return static_cast<unsigned int>(bytes.size()); }
    static unsigned char* copy(const Bytes& bytes) {
        auto* block = new unsigned char[bytes.size()];
        std::copy(bytes.begin(), bytes.end(), block);
        return block;
    }
};

}  // namespace qlip_test
