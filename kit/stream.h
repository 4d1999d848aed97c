// One track of a source, opened for reading.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kit/chunk_reader.h"
#include "kit/description.h"
#include "kit/frame_reader.h"
#include "kit/movie.h"
#include "kit/track_times.h"

namespace qlip::kit {

class Stream {
  public:
    explicit Stream(qlip_source* source);
    ~Stream();
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    int open(qlip_medium medium, const qlip_stream_options& options);
    int read(const qlip_frame** frame);
    int keep_packets(qlip_packets** packets);
    int read_chunk(const void** chunk, size_t* size);
    int seek(int64_t time, int64_t* landed);
    void set_first_timestamp(uint32_t first) { info_.first_timestamp = first; }

    const qlip_stream_info& info() const { return info_; }
    const char* error() const { return trouble_.text(); }
    uint64_t needed() const { return needed_; }
    std::string sdp(unsigned int port, const char* control) const {
        return sdp_section(info_, port, control);
    }
    std::string caps() const { return gstreamer_caps(info_, format_); }
    uint32_t timestamp(int64_t time) const;
    int sender_report(uint64_t ntp, int64_t time, const char* cname, void* packet, size_t* size) const;

  private:
    int choose_track(qlip_medium medium, uint32_t id);
    int make_reader(bool keep_no_data);
    int make_chunk_reader(const Structure& structure);
    void fill_info(const qlip_stream_options& options, bool rfc2190);
    void number_packets();
    void number(PacketList& packets, const qlip_frame& frame);
    void report_floor();
    void begin_call();
    int end_call(int status);

    SourceHold source_;
    Trouble trouble_;
    Movie movie_;
    iso_track* track_ = nullptr;
    std::unique_ptr<FrameReader> reader_;
    std::unique_ptr<ChunkReader> chunks_;
    Draft draft_;
    uint32_t payload_type_ = 0;
    uint16_t sequence_ = 0;              // of the next packet
    uint32_t packets_ = 0, octets_ = 0;  // handed out, as sender reports count them
    uint64_t needed_ = 0;
    Floors::Floor floor_;
    bool rises_ = false;  // the track lies in the file in the order in which it is read
    bool hinted_ = false;
    PayloadFormat format_;
    std::string parameters_;
    std::vector<unsigned char> configuration_;
    qlip_stream_info info_{};
};

}  // namespace qlip::kit

// The handle of the interface.
struct qlip_stream final : qlip::kit::Stream {
    using Stream::Stream;
};
