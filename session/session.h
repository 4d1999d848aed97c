// A session: one open file with one chosen track, and the state of the machine that delivers it.
//
// Failures in here are SimpleExceptions up to mmfi_Open, which turns them into a status, and statuses
// (qlip.h) in the readers. Nothing is allocated once a session is open.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/cleared_memory.h"
#include "packets/frame_cuts.h"
#include "qlip/isoff.h"
#include "qlip/native_stream.h"
#include "qlip/qlip.h"
#include "qlip/wld_native.h"

namespace qlip {

// Bytes of each working buffer, which is also the longest sample.
inline constexpr int kBufferBytes = 64000;

}  // namespace qlip

// One call of a codec's reader; arguments and result are those of qlip_ReadChunk, which goes straight to it.
// So it lets nothing out: what a callback throws is status 2.
using SessionReader = int (*)(mm_Interface* session, unsigned char* buffer, unsigned int* size,
                              bool indexed) noexcept;

// What every call needs stands in front, so that a session touches few pages; the buffers stay as the
// allocator gives them and are cleared as far as they are used.
struct mm_Interface {
    SessionReader reader = nullptr;   // of the track's codec
    iso_file* file = nullptr;         // owned
    iso_track* track = nullptr;       // the chosen media track, never its hint track
    iso_track* hint = nullptr;        // armed; null where the readers cut the samples themselves
    int status = 0;                   // of mmfi_Open, and of the last read that says so
    int stage = 0;                    // of the reader, 0 after open
    int read_calls = 0;               // counted only
    unsigned short pending_size = 0;  // audio: bytes of the next payload chunk
    unsigned short carry_size = 0;
    // Audio: the carried frames are the last `carry_size` of this many bytes at the start of `carry_buffer`,
    // those delivered before still standing ahead of them. 0: they stand at the start.
    unsigned short carry_run = 0;
    unsigned char last_cmr = 0;
    unsigned char dsi_sent = 0;  // H.264: the parameter sets stand in front of the frame in hand
    uint32_t audio_clock = 0, audio_sequence = 0;    // timestamp and number of the next frame
    qlip::ClearedMemory working_set{sample_buffer};  // as far as the working memory is in use
    qlip::ClearedMemory carry_set{carry_buffer};     // audio: the carried frames
    unsigned char frame_record[12] = {};             // the last video frame record
    wld_native native = {};
    // Video without hints: the frame in hand, whose notes beyond the first few stand in `carry_buffer`.
    qlip::FrameCuts cuts{reinterpret_cast<qlip::Cut*>(carry_buffer)};
    int media_kind = 0;           // of host/open_mode.h; 0 until the mode is parsed
    int read_mode = 0;            // kDirectionRead when the mode asks for reading
    void* hint_memory = nullptr;  // behind `hint` where the file does not own it; owned
    const char* media_name = nullptr;
    unsigned int track_id = 0;
    int open_word = 0;  // these three are set at open and read by nothing
    int zero_word = 0;
    int ready_word = 0;
    // One run of memory, see working_memory: a full audio sample starts at the second byte of the first
    // buffer, behind its CMR byte, and ends on the first byte of the second.
    alignas(qlip::Cut) unsigned char sample_buffer[qlip::kBufferBytes];  // the sample in hand
    unsigned char carry_buffer[qlip::kBufferBytes];  // audio: frames still to be delivered
    unsigned char working_tail[sizeof(wld_packet_record)];
};

static_assert(offsetof(mm_Interface, carry_buffer) ==
              offsetof(mm_Interface, sample_buffer) + qlip::kBufferBytes);
static_assert(qlip::FrameCuts::most(qlip::kBufferBytes) * sizeof(qlip::Cut) <= qlip::kBufferBytes);
static_assert(offsetof(mm_Interface, carry_buffer) % alignof(qlip::Cut) == 0);
static_assert(offsetof(mm_Interface, working_tail) ==
              offsetof(mm_Interface, carry_buffer) + qlip::kBufferBytes);

// Parses the mode, chooses the track of `session->file` and arms its hint track. Returns a status.
int mmfi_Open(mm_Interface* session, const char* mode);

// Fills `media_kind` and `read_mode`. Returns 1, or throws SimpleException with `status` set to 7.
int mmfiParseModeInfo(mm_Interface* session, const char* mode);

// Closes the file. The session itself stays the caller's. Returns 0.
int mmfi_Close(mm_Interface* session);

// The readers behind qlip_ReadChunk, one per codec.
int mmfi_Read_AMRNB(mm_Interface* session, unsigned char* buffer, unsigned int* size, bool indexed) noexcept;
int mmfi_Read_AMRWB(mm_Interface* session, unsigned char* buffer, unsigned int* size, bool indexed) noexcept;
int mmfi_Read_H263(mm_Interface* session, unsigned char* buffer, unsigned int* size, bool indexed) noexcept;
int mmfi_Read_MPEG4(mm_Interface* session, unsigned char* buffer, unsigned int* size, bool indexed) noexcept;
int mmfi_Read_H264(mm_Interface* session, unsigned char* buffer, unsigned int* size, bool indexed) noexcept;

namespace qlip {

// No exception leaves an entry point, not even one thrown while another is being logged.
template <typename Operation>
int guarded(Operation operation) noexcept {
    try {
        return operation();
    } catch (...) {
        return QLIP_FAILURE;
    }
}

// The source path that the session's messages carry.
inline constexpr const char* kSessionPath = "interface/src/mmfiInterface";

inline constexpr int kWorkingBytes = 2 * kBufferBytes + int{sizeof(wld_packet_record)};

// The working buffers as the one run of kWorkingBytes that they are.
inline unsigned char* working_memory(mm_Interface& session) {
    return reinterpret_cast<unsigned char*>(&session) + offsetof(mm_Interface, sample_buffer);
}

// The opening of every reader call.
inline void begin_read(mm_Interface& session, bool indexed) {
    session.status = QLIP_SUCCESS;
    session.file->indexed_read = indexed ? 1 : 0;
    session.read_calls = static_cast<int>(static_cast<unsigned int>(session.read_calls) + 1U);
}

}  // namespace qlip
