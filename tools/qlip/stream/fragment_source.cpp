#include "stream/fragment_source.h"

#include <fmt/format.h>

#include "host/tool_error.h"
#include "qlip/h263_isoff.h"
#include "qlip/native_stream.h"

namespace qlip_tool {

namespace {

ToolError cannot_cut(H263Picture& picture, int result, const std::string& look) {
    const std::string where =
        fmt::format("the picture at byte {} cannot be cut into packets: ", picture.offset);
    if (result != WLD_BAD_PICTURE)
        return {Exit::bad_input, where + "a macroblock is larger than a packet", "a larger --max-payload"};
    const std::string format = h263_format(picture).name;
    if (format == h263_format(0).name)
        return {Exit::bad_input, where + "it has no picture header that can be read", look};
    return {Exit::bad_input, where + "it is " + format + ", and this form takes only sub-QCIF, QCIF and CIF",
            "--rfc 2429, which takes every format"};
}

}  // namespace

FragmentSource::FragmentSource(std::vector<H263Picture> pictures, wld_rfc_mode mode, int max_payload,
                               std::string advice)
    : pictures_(std::move(pictures)), mode_(mode), advice_(std::move(advice)) {
    iso_track track = {};
    track.codec = ISO_CODEC_S263;
    wld_native_init(&native_, WLD_TYPE_H263, max_payload, mode, &track, 0);
    native_.max_payload = max_payload;
}

std::span<const unsigned char> FragmentSource::next() {
    chunk_.clear();
    if (!header_written_) {
        write_header();
    } else if (next_picture_ < pictures_.size()) {
        write_picture(pictures_[next_picture_++]);
    }
    return chunk_;
}

template <typename Record>
void FragmentSource::append(const Record& record) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&record);
    chunk_.insert(chunk_.end(), bytes, bytes + sizeof record);
}

// The header writers take their facts from a track; this one is made up of what the pictures say.
void FragmentSource::write_header() {
    header_written_ = true;
    double seconds = 0.0;
    double bytes = 0.0;
    for (const H263Picture& picture : pictures_) {
        seconds += picture.seconds;
        bytes += static_cast<double>(picture.data.size());
    }
    H263VCFG config = {};
    if (!pictures_.empty()) {
        auto& first = pictures_.front().data;
        h263_get_config(first.data(), static_cast<int>(first.size()), &config);
    }
    iso_track track = {};
    track.codec = ISO_CODEC_S263;
    track.payload_type = mode_ == WLD_RFC_2429 ? 0 : WLD_TYPE_H263;  // names the stream "s263" or "s263+"
    track.width = static_cast<unsigned int>(config.width);
    track.height = static_cast<unsigned int>(config.height);
    PROP_Header_Info prop = {};
    wld_put_hdr_vid_prop263(&prop, static_cast<int>(pictures_.size()));
    VID_Header_CodecInfo codec = {};
    wld_put_hdr_vid_codec263(&codec, 0, seconds > 0.0 ? static_cast<int>(8.0 * bytes / seconds) : 0, &track);
    VID_FileInfo info = {};
    wld_put_hdr_vid_fileInfo(&info, seconds);
    append(prop);
    append(VID_Header_NTSInfo{});
    append(VID_Header_IndxInfo{});
    append(codec);
    append(VID_Header_H263CodecConfig{0, 10});  // profile 0, level 10: what 3GPP asks of every receiver
    append(info);
}

void FragmentSource::write_picture(H263Picture& picture) {
    constexpr size_t kRoomAtLeast = 1 << 16;
    packets_.resize(kRoomAtLeast + 4 * picture.data.size());
    native_.packet_count = 0;
    const int size =
        wld_native_packet(packets_.data(), static_cast<int>(packets_.size()), picture.data.data(),
                          static_cast<int>(picture.data.size()), picture.seconds, &native_);
    if (size < 0) throw cannot_cut(picture, size, advice_);
    const auto bare = static_cast<unsigned int>(size) +
                      static_cast<unsigned int>(sizeof(wld_frame_record) + sizeof(wld_frame_prefix));
    append(wld_frame_record{bare + (-bare & 3U), native_.packet_count, -bare & 3U});
    append(wld_frame_prefix{4, 1});
    chunk_.insert(chunk_.end(), packets_.begin(), packets_.begin() + size);
}

}  // namespace qlip_tool
