// The record in front of an audio frame, inline for the audio reader.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/byte_order.h"
#include "formats/amr.h"
#include "formats/native_header.h"
#include "qlip/native_stream.h"
#include "qlip/wld_native.h"

namespace qlip {

// What the two codecs put into the record, and by how much they move the clock on.
struct AudioFrameKind {
    unsigned int frame_word;
    unsigned int ticks;  // of 20 ms
};

inline constexpr AudioFrameKind kNarrowbandFrame = {kNarrowbandFrameWord, kNarrowbandTicks};
inline constexpr AudioFrameKind kWidebandFrame = {kWidebandFrameWord, kWidebandTicks};

// Field by field: this is written for every frame, and a copy of fields just stored would wait for them.
inline void put_audio_frame(void* record, unsigned int size, uint32_t timestamp, uint32_t sequence,
                            AudioFrameKind kind) {
    auto* bytes = static_cast<unsigned char*>(record);
    store_le32(bytes, size);
    store_le32(bytes + offsetof(AUD_AudFrame_Native, frame_word), kind.frame_word);
    store_le32(bytes + offsetof(AUD_AudFrame_Native, timestamp), timestamp);
    store_le32(bytes + offsetof(AUD_AudFrame_Native, timestamp2), timestamp);
    store_le32(bytes + offsetof(AUD_AudFrame_Native, sequence), sequence & kRtpLastSequence);
}

}  // namespace qlip
