#include "stream/stream_reader.h"

#include <fmt/format.h>

#include <cstring>
#include <string_view>

#include "host/text.h"
#include "host/tool_error.h"
#include "movie/movie.h"

namespace qlip_tool {
namespace {

constexpr size_t kCommonVideoHeader = sizeof(PROP_Header_Info) + sizeof(VID_Header_NTSInfo) +
                                      sizeof(VID_Header_IndxInfo) + sizeof(VID_Header_CodecInfo) +
                                      sizeof(VID_FileInfo);
constexpr size_t kVideoFrameHead = sizeof(wld_frame_record) + sizeof(wld_frame_prefix);
constexpr unsigned int kWideBandRate = 128;  // 16,000 Hz in units of 125 Hz

[[noreturn]] void damaged(const std::string& what, uint64_t offset) {
    throw ToolError(Exit::bad_input, fmt::format("{}, at byte {} of the stream", what, offset));
}

}  // namespace

std::string StreamHeader::codec_name() const {
    if (is_audio()) return "amr";
    const char* name = video().codec.name;
    return printable({name, strnlen(name, sizeof video().codec.name)});
}

bool StreamHeader::is_wide_band() const {
    return is_audio() && std::get<AudioHeader>(medium).codec.rate_code == kWideBandRate;
}

StreamReader::StreamReader(ChunkSource& source) : source_(source) {
    header_.prop = take_record<PROP_Header_Info>("file-level header");
    const std::string_view type(header_.prop.type, sizeof header_.prop.type);
    if (type == "AUDIO   ") {
        read_audio_header();
    } else if (type == "VIDEO   ") {
        read_video_header();
    } else {
        throw ToolError(Exit::bad_input,
                        fmt::format("this is no native stream: it begins with \"{}\"", printable(type)),
                        begins_like_3gp(type) ? "qlip stream, which makes one from a 3GP file" : "");
    }
    if (position_ != header_.prop.header_size) {
        damaged(fmt::format("the header says it has {} bytes, its records have {}", header_.prop.header_size,
                            position_),
                offsetof(PROP_Header_Info, header_size));
    }
}

void StreamReader::read_audio_header() {
    AudioHeader audio = {};
    audio.codec = take_record<AUD_Codec_Header>("audio codec record");
    audio.index = take_record<AUD_Header_IndxInfo>("audio index record");
    header_.medium = audio;
    header_.info = take_record<VID_FileInfo>("file information record");
}

// The size of the header tells the codec's record; the size in the codec information does not.
void StreamReader::read_video_header() {
    VideoHeader video = {};
    video.start = take_record<VID_Header_NTSInfo>("start time record");
    video.index = take_record<VID_Header_IndxInfo>("index record");
    video.codec = take_record<VID_Header_CodecInfo>("codec information record");
    switch (header_.prop.header_size - kCommonVideoHeader) {
        case sizeof(VID_Header_H263CodecConfig):
            video.config = take_record<VID_Header_H263CodecConfig>("H.263 configuration");
            break;
        case sizeof(VID_Header_MPEG4CodecConfig):
            video.config = take_record<VID_Header_MPEG4CodecConfig>("MPEG-4 configuration");
            break;
        case sizeof(VID_Header_H264CodecConfig):
            video.config = take_record<VID_Header_H264CodecConfig>("H.264 configuration");
            break;
        default:
            damaged(fmt::format("no codec has a header of {} bytes", header_.prop.header_size),
                    offsetof(PROP_Header_Info, header_size));
    }
    header_.medium = video;
    header_.info = take_record<VID_FileInfo>("file information record");
}

bool StreamReader::next(Frame& frame) {
    if (available(1) == 0) return false;
    frame.offset = position_;
    frame.packets.clear();
    if (header_.is_audio()) {
        read_audio_frame(frame);
    } else {
        read_video_frame(frame);
    }
    return true;
}

void StreamReader::read_audio_frame(Frame& frame) {
    const auto whole = take(kAudioFrameHead, "audio frame record");
    std::memcpy(&frame.audio, whole.data(), sizeof frame.audio);
    if (frame.audio.size < kAudioFrameHead) {
        damaged(fmt::format("an audio frame of {} bytes, less than its record", frame.audio.size),
                frame.offset);
    }
    frame.payload = take(frame.audio.size - kAudioFrameHead, "audio payload");
}

// One reader writes 0 as the prefix's second word and the padding behind the packets; the other writes 1, and
// counts the padding without writing it.
void StreamReader::read_video_frame(Frame& frame) {
    frame.video = take_record<wld_frame_record>("video frame record");
    frame.prefix = take_record<wld_frame_prefix>("video frame prefix");
    const uint64_t least = kVideoFrameHead + uint64_t{frame.video.frame_pad};
    if (frame.video.frame_size < least) {
        damaged(fmt::format("a video frame of {} bytes, less than its records", frame.video.frame_size),
                frame.offset);
    }
    const uint64_t body_offset = position_;
    const size_t body_size = frame.video.frame_size - least;
    const size_t written_pad = frame.prefix.word_one == 0 ? frame.video.frame_pad : 0;
    const auto body = take(body_size + written_pad, "packet records");
    split_packets(frame, body.first(body_size), body_offset);
}

void StreamReader::split_packets(Frame& frame, std::span<const unsigned char> body, uint64_t offset) {
    while (!body.empty()) {
        Packet packet = {offset, {}, {}};
        if (body.size() < sizeof packet.record)
            damaged("a packet record that is cut by the frame's end", offset);
        std::memcpy(&packet.record, body.data(), sizeof packet.record);
        if (packet.record.size < sizeof packet.record || packet.record.size > body.size()) {
            damaged(fmt::format("a packet record of {} bytes where the frame has {} left", packet.record.size,
                                body.size()),
                    offset);
        }
        packet.payload = body.subspan(sizeof packet.record, packet.record.size - sizeof packet.record);
        body = body.subspan(packet.record.size);
        offset += packet.record.size;
        frame.packets.push_back(packet);
    }
    if (frame.packets.size() != frame.video.packet_count) {
        damaged(fmt::format("a frame that announces {} packets and holds {}", frame.video.packet_count,
                            frame.packets.size()),
                frame.offset);
    }
}

template <typename Record>
Record StreamReader::take_record(const char* what) {
    Record record;
    std::memcpy(&record, take(sizeof record, what).data(), sizeof record);
    return record;
}

// The bytes stay where they are until the next call, which may move them.
std::span<const unsigned char> StreamReader::take(size_t size, const char* what) {
    const size_t there = available(size);
    if (there < size) {
        damaged(fmt::format("the stream ends inside a record: the {} needs {} bytes and {} are left", what,
                            size, there),
                position_);
    }
    const std::span<const unsigned char> taken(held_.data() + used_, size);
    used_ += size;
    position_ += size;
    return taken;
}

size_t StreamReader::available(size_t wanted) {
    if (held_.size() - used_ >= wanted) return wanted;
    held_.erase(held_.begin(), held_.begin() + static_cast<ptrdiff_t>(used_));
    used_ = 0;
    while (held_.size() < wanted) {
        const auto piece = source_.next();
        if (piece.empty()) return held_.size();
        held_.insert(held_.end(), piece.begin(), piece.end());
    }
    return wanted;
}

}  // namespace qlip_tool
