#include "stream/opening.h"

#include "host/tool_error.h"
#include "movie/track_facts.h"

namespace qlip_tool {

Opening prepare(FileHost& host, Growth& growth, const std::string& mode) {
    if (growth.follows() && !growth.wait_for_structure()) {
        throw ToolError(Exit::incomplete, host.path() + ": the file's structure has not arrived in time",
                        "a longer --patience");
    }
    const Movie movie(host);
    Opening opening = {mode, file_state(host, movie)};
    if (mode.empty()) opening.mode = delivered_track(movie, false) ? "rv" : "ra";
    const iso_track* track = delivered_track(movie, opening.mode == "ra");
    if (!track) return opening;
    opening.delivers = true;
    opening.track_bytes = bytes_of(*track);
    for (const iso_track* each : movie.tracks()) {
        const bool hints = is_hint(*each) && each->hint_ref_track == track->track_id;
        opening.hinted = opening.hinted || hints;
        const std::string damage = each == track || hints ? claims_too_much(host, *each) : "";
        if (!damage.empty()) throw ToolError(Exit::bad_input, host.path() + ": " + damage);
    }
    return opening;
}

}  // namespace qlip_tool
