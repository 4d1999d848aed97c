#include "movie/movie.h"

#include <algorithm>
#include <array>

#include "host/tool_error.h"

namespace qlip_tool {

bool begins_like_3gp(std::string_view first_bytes) {
    constexpr std::array<std::string_view, 5> kTypes = {"ftyp", "moov", "mdat", "free", "skip"};
    return first_bytes.size() >= 8 &&
           std::find(kTypes.begin(), kTypes.end(), first_bytes.substr(4, 4)) != kTypes.end();
}

bool is_hint(const iso_track& track) {
    return track.codec == ISO_CODEC_RTP || track.codec == ISO_CODEC_SRTP;
}

Movie::Movie(FileHost& host) {
    auto* io = host.record();
    char mode[] = "r";
    host.start_over();
    file_.reset(isoFFopen(io, mode, nullptr));
    host.throw_if_unreadable();
    if (!file_) throw ToolError(Exit::io, "no memory to read " + host.path());
    for (iso_track* track = file_->tracks; track; track = track->next)
        tracks_.push_back(track);
}

}  // namespace qlip_tool
