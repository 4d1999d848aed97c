// What the producers look at in their reader, which keeps it from hosts: the bounds of the bytes that it
// shows them.
#pragma once

#include "qlip/c3gpinterface.h"

namespace qlip {

struct ReaderView {
    const C3gpInterface& reader;

    // The current hint sample's first byte and one past its last; both null while there is none.
    const unsigned char* hint_sample() const { return has_hint_sample() ? reader.m_pHintBuffer : nullptr; }
    const unsigned char* hint_sample_end() const {
        return has_hint_sample() ? reader.m_pHintBuffer + reader.m_SampleSizes[reader.m_itSampleSize]
                                 : nullptr;
    }

    // The buffer that holds a media sample, and its size, which is that of the largest one; null and 0 while
    // there is none.
    const unsigned char* media_buffer() const { return reader.m_pMediaBuffer; }
    unsigned int media_buffer_bytes() const { return reader.m_uMediaBufferBytes; }

    // The bounds of the reader's log; null when it has none, or there is no reader.
    static FaultLog* faults(const PropFile& file) {
        return file.m_pInterface ? file.m_pInterface->Faults() : nullptr;
    }

  private:
    bool has_hint_sample() const {
        return reader.m_pHintBuffer && reader.m_itSampleSize < reader.m_SampleSizes.size();
    }
};

}  // namespace qlip
