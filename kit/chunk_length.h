// How long the chunks of a native stream are: qlip_ReadChunk does not say, it follows from the chunks
// themselves.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qlip::kit {

class ChunkLength {
  public:
    // The length of the chunk that was just delivered. To be called once for every chunk, in order.
    size_t of(const unsigned char* chunk);

    // The chunk to come begins a video frame, whose data libqlip then reads.
    bool fetches_picture() const { return next_ == Next::video_header || next_ == Next::video_frame; }
    bool is_first_picture() const { return next_ == Next::video_header; }

    // Bytes of all speech frames so far, as they were stored.
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
    size_t read_video_frame(const unsigned char* chunk, size_t in_front);

    Next next_ = Next::head;
    size_t header_size_ = 0;
    size_t body_ = 0;  // of the chunk that follows a frame record
    uint64_t speech_ = 0;
};

}  // namespace qlip::kit
