#include "stream/session_source.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "host/tool_error.h"
#include "movie/track_facts.h"
#include "stream/stream_reader.h"

namespace qlip_tool {

namespace {

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
    body_ = size - std::min(size, kAudioFrameHead);
    next_ = Next::audio_payload;
    return kAudioFrameHead;
}

// The padding is counted in the frame size, but the chunk ends with the last packet record.
size_t ChunkLength::read_video_frame(const unsigned char* record, size_t in_front) {
    const auto frame = load<wld_frame_record>(record + in_front);
    const size_t bare = sizeof(wld_frame_record) + frame.frame_pad;
    body_ = std::max<size_t>(frame.frame_size, bare + sizeof(wld_frame_prefix)) - bare;
    next_ = Next::video_body;
    return in_front + sizeof frame;
}

SessionSource::SessionSource(FileHost& host, Growth growth, const std::string& mode, bool indexed)
    : host_(host),
      growth_(growth),
      opening_(prepare(host, growth_, mode)),
      indexed_(indexed),
      chunk_(QLIP_LARGEST_CHUNK) {
    open();
}

SessionSource::~SessionSource() {
    qlip_Close(&session_);
}

void SessionSource::open() {
    host_.start_over();
    const int status = qlip_Open(&session_, host_.record(), opening_.mode.c_str());
    host_.throw_if_unreadable();
    if (status != QLIP_SUCCESS) throw cannot_open(host_, opening_.mode, status);
    host_.refuse_short_reads();
}

// A new session that stands where this one did; only ever needed before the first frame.
void SessionSource::reopen() {
    qlip_Close(&session_);
    open();
    length_ = {};
    unsigned int unused = 0;
    for (unsigned long i = 0; i < delivered_; ++i) {
        if (qlip_ReadChunk(session_, chunk_.data(), &unused, indexed_) != QLIP_SUCCESS) break;
        length_.of(chunk_.data());
    }
}

// The chunk that holds the rest of a video header also holds the first frame's record. When the frame's data
// is not there, it comes as a failure, or without the record, and cannot be asked for again.
bool SessionSource::first_frame_is_missing(int status) const {
    if (delivered_ != 1 || !host_.ran_short()) return false;
    return status == QLIP_FAILURE || status == QLIP_SUCCESS;
}

std::span<const unsigned char> SessionSource::next() {
    while (true) {
        if (delivered_ <= 1) std::fill(chunk_.begin(), chunk_.end(), static_cast<unsigned char>(0));
        unsigned int size = 0;
        host_.forget_short_reads();
        const int status = qlip_ReadChunk(session_, chunk_.data(), &size, indexed_);
        if (status == QLIP_END_OF_FILE) {
            throw_unless_structure_is_whole(host_, opening_.state);
            return {};
        }
        const bool missing = first_frame_is_missing(status);
        if (status == QLIP_SUCCESS && !missing) {
            ++delivered_;
            const size_t size_of_chunk = std::min(length_.of(chunk_.data()), chunk_.size());
            refuse_made_up_speech();
            return {chunk_.data(), size_of_chunk};
        }
        const bool later = status == QLIP_NOT_AVAILABLE_YET || missing;
        if (!later || host_.unreadable() || !growth_.wait()) fail(later ? QLIP_NOT_AVAILABLE_YET : status);
        if (missing) reopen();
    }
}

// Frames that do not fit their samples make the library go on with what was there before.
void SessionSource::refuse_made_up_speech() const {
    if (length_.speech() <= opening_.track_bytes) return;
    throw ToolError(Exit::bad_input, fmt::format("{}: the track's speech frames do not fit its samples: they "
                                                 "would come to more than the {} bytes that it has",
                                                 host_.path(), opening_.track_bytes));
}

void SessionSource::fail(int status) const {
    host_.throw_if_unreadable();
    if (status == QLIP_NOT_AVAILABLE_YET) {
        throw ToolError(
            Exit::incomplete,
            fmt::format("{} ends before its media data does, {} chunks into the stream (status {}: {})",
                        host_.path(), delivered_, status, qlip_StatusString(status)),
            growth_.follows() ? "a longer --patience"
                              : "--follow, if the file is still being written; else get a whole copy");
    }
    throw ToolError(Exit::bad_input,
                    fmt::format("{}: reading failed {} chunks into the stream (status {}: {})", host_.path(),
                                delivered_, status, qlip_StatusString(status)),
                    "qlip info " + host_.path() + ", to see what the file holds");
}

}  // namespace qlip_tool
