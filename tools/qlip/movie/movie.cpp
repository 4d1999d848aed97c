#include "movie/movie.h"

#include "host/tool_error.h"

namespace qlip_tool {

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
