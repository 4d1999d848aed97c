#include "plugins/gstreamer/track.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace qlip::gst {
namespace {

constexpr size_t kReasonSize = 256;
constexpr unsigned int kMostTracks =
    16;  // that are asked for where they begin: each costs a look at the file

}  // namespace

int Track::open_source(const char* path, bool growing, const qlip_limits& limits, std::string& reason) {
    close();
    errno = 0;
    const int status = qlip_source_path(&source_, path);
    if (status == QLIP_SUCCESS) {
        qlip_source_set_limits(source_, &limits);
        return qlip_source_set_growing(source_, growing);
    }
    if (status == QLIP_NO_SUCH_FILE)
        reason = std::strerror(errno);
    else
        reason = status == QLIP_NOT_SUPPORTED ? "no regular file, or larger than 4 GiB" : "no memory";
    return status;
}

int Track::open_stream(qlip_medium medium, const qlip_stream_options& options, std::string& reason) {
    char text[kReasonSize] = "";
    qlip_stream_options all = options;
    all.error = text;
    all.error_size = sizeof text;
    const int status = qlip_stream_open(&stream_, source_, medium, &all);
    if (status == QLIP_SUCCESS) place_on_timeline();
    reason = *text ? text : "no memory";
    return status;
}

void Track::close() {
    qlip_stream_close(&stream_);
    qlip_source_close(&source_);
}

void Track::place_on_timeline() {
    origin_ = 0;
    int64_t shift = 0;
    qlip_track_info track = QLIP_TRACK_INFO_INIT;
    for (unsigned int index = 0; index < kMostTracks; ++index) {
        if (qlip_source_track(source_, index, &track) != QLIP_SUCCESS) break;
        origin_ = std::min(origin_, track.shift);
        if (track.id == info().track_id) shift = track.shift;
    }
    duration_ = info().duration + on_timeline(shift);
}

std::string Track::caps() const {
    const int length = qlip_stream_caps(stream_, nullptr, 0);
    if (length < 0) return {};
    std::string text(static_cast<size_t>(length) + 1, '\0');
    qlip_stream_caps(stream_, text.data(), text.size());
    text.pop_back();
    return text;
}

// In front of the first picture there is sound.
int64_t Track::sync_before(uint64_t time) const {
    const int64_t wanted = static_cast<int64_t>(time) + origin_;
    int64_t sync = wanted;
    if (qlip_source_sync_before(source_, wanted, &sync) != QLIP_SUCCESS) return wanted;
    return std::min(sync, wanted);
}

int Track::seek(uint64_t& time) {
    const int64_t sync = sync_before(time);
    const int status = qlip_stream_seek(stream_, sync, nullptr);
    if (status == QLIP_SUCCESS) time = on_timeline(sync);
    return status;
}

bool Track::has_arrived(qlip_medium medium, uint64_t time) const {
    qlip_stream* probe = nullptr;
    const qlip_frame* frame = nullptr;
    int status = qlip_stream_open(&probe, source_, medium, nullptr);
    if (status == QLIP_SUCCESS) status = qlip_stream_seek(probe, sync_before(time), nullptr);
    if (status == QLIP_SUCCESS) status = qlip_stream_read(probe, &frame);
    qlip_stream_close(&probe);
    return status != QLIP_NOT_AVAILABLE_YET;
}

bool Track::can_go_on() const {
    if (stream_) return qlip_source_wait(source_, qlip_stream_needs(stream_), 0) != QLIP_NOT_AVAILABLE_YET;
    qlip_source_info state = QLIP_SOURCE_INFO_INIT;
    const int status = qlip_source_state(source_, &state);
    return status == QLIP_SUCCESS ? state.structure != QLIP_STRUCTURE_NOT_YET
                                  : status != QLIP_NOT_AVAILABLE_YET;
}

}  // namespace qlip::gst
