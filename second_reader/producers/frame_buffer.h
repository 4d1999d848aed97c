// What audio and video producers have in common around their frame buffer: making it, keeping within it, and
// ending a frame that failed.
#pragma once

#include <cstring>

#include "common/log.h"
#include "qlip/propfile.h"

namespace qlip {

inline constexpr const char* kBasePath = "propfile/src/propfile_base";

// The words by which the lines of audio and video differ.
struct ProducerTexts {
    const char* path;
    const char* kind;         // in "... for audio frame"
    const char* capitalised;  // in "... for Audio frame"
    const char* rethrowing;
};

// Makes a zeroed buffer of `bytes`. Throws SimpleException, with no buffer left, when there is no memory.
void allocate_frame_buffer(PropFile& file, unsigned int bytes, const ProducerTexts& texts);

// Throws kBadHintContent unless `bytes` more fit a buffer of `capacity`.
[[noreturn, gnu::cold]] void refuse_room(const PropFile& file, unsigned int usable);
inline void require_room(const PropFile& file, unsigned int bytes, unsigned int capacity) {
    const unsigned int usable = file.m_pBuffer ? capacity : 0;
    if (file.m_uLength > usable || bytes > usable - file.m_uLength) refuse_room(file, usable);
}

// What PropFile's ByteCount and OffsetBytes do.
inline unsigned int waiting_bytes(const PropFile& file) {
    return file.m_uLength - file.m_uOffset;
}
[[noreturn, gnu::cold]] void refuse_offset(const PropFile& file, unsigned int bytes);
inline void mark_read(PropFile& file, unsigned int bytes) {
    if (bytes > waiting_bytes(file)) refuse_offset(file, bytes);
    file.m_uOffset += bytes;
    QLIP_LOG_VERBOSE(kBasePath, "Set offset to %d", file.m_uOffset);
}

// Says that a signal is no frame's business and goes on.
void log_rethrowing(const PropFile& file, const ProducerTexts& texts);

// Ends a frame from within a catch-all handler: a wait for media empties the buffer and returns; everything
// else is logged and goes on, as a SimpleException if it was of a foreign type.
void settle_frame_failure(PropFile& file, const ProducerTexts& texts);

// Records lie in the buffer at any alignment.
template <class Record>
void put_record(unsigned char* at, const Record& record) {
    std::memcpy(at, &record, sizeof record);
}

}  // namespace qlip
