// One track of a file through the host kit: as frames that are RTP packets, or as a native stream. Turns the
// kit's statuses into waiting and failures.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/chunk_source.h"
#include "host/file_host.h"
#include "qlip/host.h"
#include "stream/growth.h"
#include "stream/kit_handles.h"

namespace qlip_tool {

// A source over the file that is open already, so that a failure to read and the progress are seen.
KitSource kit_source(FileHost& host, bool growing);

// What becomes of a track.
struct TrackOptions {
    std::string mode;  // "ra", "rv", or empty for video if there is any, else audio
    bool as_stream = false;
    bool keep_no_data = false;
    uint32_t ssrc = 0;
    unsigned int payload_type = 0;  // 0: the codec's own
};

class KitTrack : public ChunkSource {
  public:
    // Waits for the structure of a file that is growing. Throws ToolError with the reason when the file has
    // no such track.
    KitTrack(FileHost& host, Growth growth, const TrackOptions& options);

    const qlip_stream_info& info() const { return *qlip_stream_get_info(stream_.get()); }
    std::string mode() const { return info().medium == QLIP_AUDIO ? "ra" : "rv"; }

    // The next frame, null at the end; valid until the next call. Throws ToolError.
    const qlip_frame* next_frame();

    // The next chunk of the native stream.
    std::span<const unsigned char> next() override;

    // Where decoding can start, at or before a time: that time. Both in nanoseconds.
    int64_t seek(int64_t time);

    void set_first_timestamp(uint32_t first) { qlip_stream_set_first_timestamp(stream_.get(), first); }
    std::string media_section(unsigned int port) const;
    std::vector<unsigned char> sender_report(uint64_t ntp, int64_t time) const;

  private:
    int open(qlip_medium medium, const TrackOptions& options, std::string& reason);
    template <class Read>
    bool read(Read read);
    bool is_cut() const;
    [[noreturn]] void refuse(const TrackOptions& options, int status, const std::string& reason);
    [[noreturn]] void fail(int status) const;

    FileHost& host_;
    Growth growth_;
    KitSource source_;
    KitStream stream_;
    uint64_t delivered_ = 0;  // frames or chunks
    const char* pieces_;
};

}  // namespace qlip_tool
