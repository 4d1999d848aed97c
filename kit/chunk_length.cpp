#include "kit/chunk_length.h"

#include <algorithm>
#include <cstring>

#include "qlip/native_stream.h"

namespace qlip::kit {
namespace {

constexpr size_t kAudioPrefix = sizeof(AUD_AudFrame_Native) + 4;
constexpr size_t kModeRequest = 1;  // in front of each speech frame (RFC 4867 4.3.1)

template <typename Record>
Record load(const unsigned char* from) {
    Record record;
    std::memcpy(&record, from, sizeof record);
    return record;
}

}  // namespace

size_t ChunkLength::of(const unsigned char* chunk) {
    switch (next_) {
        case Next::head:
            return read_head(chunk);
        case Next::audio_codec:
            next_ = Next::audio_index;
            return sizeof(AUD_Codec_Header);
        case Next::audio_index:
            next_ = Next::audio_info;
            return sizeof(AUD_Header_IndxInfo);
        case Next::audio_info:
            next_ = Next::audio_frame;
            return sizeof(VID_FileInfo);
        case Next::audio_frame:
            return read_audio_frame(chunk);
        case Next::audio_payload:
            next_ = Next::audio_frame;
            speech_ += body_ - std::min(body_, kModeRequest);
            return body_;
        case Next::video_header:
            return read_video_frame(chunk, header_size_ - sizeof(PROP_Header_Info));
        case Next::video_body:
            next_ = Next::video_frame;
            return body_;
        case Next::video_frame:
            return read_video_frame(chunk, 0);
    }
    return 0;
}

size_t ChunkLength::read_head(const unsigned char* chunk) {
    const auto head = load<PROP_Header_Info>(chunk);
    header_size_ = std::max<size_t>(head.header_size, sizeof head);
    next_ = head.type[0] == 'A' ? Next::audio_codec : Next::video_header;
    return sizeof head;
}

size_t ChunkLength::read_audio_frame(const unsigned char* chunk) {
    const size_t size = load<AUD_AudFrame_Native>(chunk).size;
    body_ = size - std::min(size, kAudioPrefix);
    next_ = Next::audio_payload;
    return kAudioPrefix;
}

// The padding is counted in the frame size, but the chunk ends with the last packet record.
size_t ChunkLength::read_video_frame(const unsigned char* chunk, size_t in_front) {
    const auto frame = load<wld_frame_record>(chunk + in_front);
    const size_t bare = sizeof(wld_frame_record) + frame.frame_pad;
    body_ = std::max<size_t>(frame.frame_size, bare + sizeof(wld_frame_prefix)) - bare;
    next_ = Next::video_body;
    return in_front + sizeof frame;
}

}  // namespace qlip::kit
