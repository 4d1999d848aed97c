// The entry points that tell about a file without a stream.
#include <algorithm>

#include "kit/guard.h"
#include "kit/movie.h"
#include "kit/track_times.h"

namespace qlip::kit {
namespace {

qlip_structure state_of(const Structure& found, bool growing) {
    if (found.contradictory) return QLIP_STRUCTURE_DAMAGED;
    if (found.whole) return QLIP_STRUCTURE_WHOLE;
    return growing ? QLIP_STRUCTURE_NOT_YET : QLIP_STRUCTURE_DAMAGED;
}

int look_at_media(Source& source, const Structure& found, qlip_source_info& facts) {
    Trouble trouble;
    Movie movie(source);
    const int status = movie.open(found, trouble);
    if (status == QLIP_NOT_SUPPORTED) return QLIP_SUCCESS;  // movie fragments: nobody knows where they end
    if (status != QLIP_SUCCESS) return status;
    facts.needed = std::max(facts.needed, movie.media_end());
    facts.complete = facts.needed <= facts.size ? 1 : 0;
    return QLIP_SUCCESS;
}

int tell_state(Source& source, qlip_source_info* info) {
    const Structure found = look_at_structure(source);
    if (found.status != QLIP_SUCCESS) return found.status;
    qlip_source_info facts = QLIP_SOURCE_INFO_INIT;
    facts.growing = source.growing() ? 1 : 0;
    facts.size = source.size();
    facts.structure = state_of(found, facts.growing != 0);
    facts.structure_offset = found.offset;
    facts.structure_size = found.size;
    facts.structure_first = found.size != 0 && !found.media_first ? 1 : 0;
    facts.needed = found.needed;
    if (facts.structure == QLIP_STRUCTURE_WHOLE) {
        const int status = look_at_media(source, found, facts);
        if (status != QLIP_SUCCESS) return status;
    }
    return give_record(info, facts) ? QLIP_SUCCESS : QLIP_BAD_ARGUMENT;
}

int tell_track(Source& source, unsigned int index, qlip_track_info* info) {
    Trouble trouble;
    Movie movie(source);
    const int status = movie.open(trouble);
    if (status != QLIP_SUCCESS) return status;
    iso_track* track = movie.media_track(index);
    if (!track) return QLIP_NO_SUCH_TRACK;
    return give_record(info, describe(track)) ? QLIP_SUCCESS : QLIP_BAD_ARGUMENT;
}

int find_sync(Source& source, int64_t time, int64_t* sync) {
    Trouble trouble;
    Movie movie(source);
    const int status = movie.open(trouble);
    if (status != QLIP_SUCCESS) return status;
    const iso_track* video = movie.last_track(QLIP_VIDEO);
    *sync = time;
    if (!video || fault_of_tables(video) || video->sample_count == 0) return QLIP_SUCCESS;
    *sync = presentation_of(video, sample_to_start_from(video, time));
    return QLIP_SUCCESS;
}

}  // namespace
}  // namespace qlip::kit

using namespace qlip::kit;

int qlip_source_state(qlip_source* source, qlip_source_info* info) {
    if (!source) return QLIP_BAD_HANDLE;
    if (!info) return QLIP_BAD_ARGUMENT;
    return guarded([&] { return tell_state(*source, info); });
}

int qlip_source_track(qlip_source* source, unsigned int index, qlip_track_info* info) {
    if (!source) return QLIP_BAD_HANDLE;
    if (!info) return QLIP_BAD_ARGUMENT;
    return guarded([&] { return tell_track(*source, index, info); });
}

int qlip_source_sync_before(qlip_source* source, int64_t time, int64_t* sync) {
    if (!source) return QLIP_BAD_HANDLE;
    if (!sync) return QLIP_BAD_ARGUMENT;
    return guarded([&] { return find_sync(*source, time, sync); });
}
