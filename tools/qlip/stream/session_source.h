// The C interface at work: a session on one track, read chunk by chunk.
#pragma once

#include <string>
#include <vector>

#include "host/chunk_source.h"
#include "host/file_host.h"
#include "qlip/qlip.h"
#include "stream/growth.h"
#include "stream/opening.h"

namespace qlip_tool {

// How long each chunk is. The interface does not say; it follows from the chunks before and the chunk itself.
class ChunkLength {
  public:
    // The length of the chunk that was just delivered. To be called once for every chunk, in order.
    size_t of(const unsigned char* chunk);

    // Bytes of all speech frames so far.
    uint64_t speech() const { return speech_; }

  private:
    enum class Next {
        head,
        audio_codec,
        audio_index,
        audio_info,
        audio_frame,
        audio_payload,
        video_header,
        video_body,
        video_frame
    };

    size_t read_head(const unsigned char* chunk);
    size_t read_audio_frame(const unsigned char* chunk);
    size_t read_video_frame(const unsigned char* record, size_t in_front);

    Next next_ = Next::head;
    size_t header_size_ = 0;
    size_t body_ = 0;  // of the chunk that follows a frame record
    uint64_t speech_ = 0;
};

class SessionSource : public ChunkSource {
  public:
    // Opens a session in `mode`: "ra", "rv", or empty for what the file holds. Throws ToolError with the
    // reason when the file has no such track.
    SessionSource(FileHost& host, Growth growth, const std::string& mode, bool indexed);
    ~SessionSource() override;

    std::span<const unsigned char> next() override;

  private:
    void open();
    void reopen();
    bool first_frame_is_missing(int status) const;
    void refuse_made_up_speech() const;
    [[noreturn]] void fail(int status) const;

    FileHost& host_;
    Growth growth_;
    Opening opening_;
    bool indexed_;
    mm_Interface* session_ = nullptr;
    std::vector<unsigned char> chunk_;
    ChunkLength length_;
    unsigned long delivered_ = 0;
};

}  // namespace qlip_tool
