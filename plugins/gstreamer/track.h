// One track of a file on the timeline of a pipeline, which has no times below 0.
#pragma once

#include <cstdint>
#include <string>

#include "qlip/host.h"

namespace qlip::gst {

// The track's timeline begins where the first track of the file does: tracks of one file have the same
// `origin`, so they stay together, and no frame in front of the presentation is lost.
class Track {
  public:
    Track() = default;
    ~Track() { close(); }
    Track(const Track&) = delete;
    Track& operator=(const Track&) = delete;

    // Statuses of qlip_source_path and qlip_stream_open; `reason` says why it is not 0. A file whose
    // structure is still arriving leaves the track without stream (17): call open_stream again.
    int open_source(const char* path, bool growing, const qlip_limits& limits, std::string& reason);
    int open_stream(qlip_medium medium, const qlip_stream_options& options, std::string& reason);
    void close();

    bool is_open() const { return stream_ != nullptr; }
    const qlip_stream_info& info() const { return *qlip_stream_get_info(stream_); }
    std::string caps() const;
    uint64_t duration() const { return duration_; }

    // The next frame, or a status of qlip_stream_read.
    int read(const qlip_frame** frame) { return qlip_stream_read(stream_, frame); }
    // One more hold on the packets of the frame that was read last.
    qlip_packets* keep_packets() {
        qlip_packets* packets = nullptr;
        qlip_stream_keep_packets(stream_, &packets);
        return packets;
    }
    const char* error() const { return qlip_stream_error(stream_); }

    // Goes to the last time at or before `time` at which all tracks of the file can start; `time` becomes
    // that.
    int seek(uint64_t& time);

    // A time of the kit on this timeline.
    uint64_t on_timeline(int64_t time) const {
        return time > origin_ ? static_cast<uint64_t>(time - origin_) : 0;
    }

    // From any thread while the source is open: says whether the file grows, and tells whether the frame that
    // seek would lead to has arrived.
    void set_growing(bool growing) { qlip_source_set_growing(source_, growing); }
    bool has_arrived(qlip_medium medium, uint64_t time) const;

    // Whether what the last 17 asked for has arrived, or will not.
    bool can_go_on() const;

  private:
    void place_on_timeline();
    int64_t sync_before(uint64_t time) const;

    qlip_source* source_ = nullptr;
    qlip_stream* stream_ = nullptr;
    int64_t origin_ = 0;
    uint64_t duration_ = 0;
};

}  // namespace qlip::gst
