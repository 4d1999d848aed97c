// Reads a native stream back as a consumer does: record by record, every length checked. The forms of both of
// the library's readers are understood.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "host/chunk_source.h"
#include "qlip/native_stream.h"

namespace qlip_tool {

// A speech frame's record and the zero word behind it.
inline constexpr size_t kAudioFrameHead = sizeof(AUD_AudFrame_Native) + 4;

struct AudioHeader {
    AUD_Codec_Header codec;
    AUD_Header_IndxInfo index;
};

struct VideoHeader {
    VID_Header_NTSInfo start;
    VID_Header_IndxInfo index;
    VID_Header_CodecInfo codec;
    std::variant<VID_Header_H263CodecConfig, VID_Header_MPEG4CodecConfig, VID_Header_H264CodecConfig> config;
};

struct StreamHeader {
    PROP_Header_Info prop;
    std::variant<AudioHeader, VideoHeader> medium;
    VID_FileInfo info;

    bool is_audio() const { return std::holds_alternative<AudioHeader>(medium); }
    const VideoHeader& video() const { return std::get<VideoHeader>(medium); }
    // "amr", "mp4v", "s263", "s263+" or "s264".
    std::string codec_name() const;
    bool is_wide_band() const;  // audio: AMR-WB
};

struct Packet {
    uint64_t offset;  // of its record in the stream
    wld_packet_record record;
    std::span<const unsigned char> payload;

    bool marker() const { return (record.rtp_word >> 23 & 1) != 0; }
    unsigned int payload_type() const { return record.rtp_word >> 16 & 127; }
    unsigned int sequence() const { return record.rtp_word & 0xFFFF; }
};

// One frame; its spans are valid until the next one is read.
struct Frame {
    uint64_t offset;
    AUD_AudFrame_Native audio;               // audio only
    std::span<const unsigned char> payload;  // audio only
    wld_frame_record video;                  // video only
    wld_frame_prefix prefix;                 // video only
    std::vector<Packet> packets;             // video only
};

class StreamReader {
  public:
    // Reads the file-level header. Throws ToolError when that is damaged.
    explicit StreamReader(ChunkSource& source);

    const StreamHeader& header() const { return header_; }
    uint64_t position() const { return position_; }

    // False at the end of the stream. Throws ToolError for a damaged or cut frame.
    bool next(Frame& frame);

  private:
    std::span<const unsigned char> take(size_t size, const char* what);
    size_t available(size_t wanted);
    template <typename Record>
    Record take_record(const char* what);
    void read_audio_header();
    void read_video_header();
    void read_audio_frame(Frame& frame);
    void read_video_frame(Frame& frame);
    void split_packets(Frame& frame, std::span<const unsigned char> body, uint64_t offset);

    ChunkSource& source_;
    std::vector<unsigned char> held_;
    size_t used_ = 0;  // of held_
    uint64_t position_ = 0;
    StreamHeader header_ = {};
};

}  // namespace qlip_tool
