#include "rtp/feed.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace qlip_tool {
namespace {

constexpr double kNanoseconds = 1e9;
constexpr unsigned int kVideoClock = 90000;
constexpr unsigned int kNarrowbandClock = 8000, kWidebandClock = 16000;

// RFC 3550 5.1.
struct RtpHeader {
    unsigned char version_and_counts = 0x80;
    unsigned char marker_and_type = 0;
    uint16_t sequence = 0;
    uint32_t timestamp = 0;
    uint32_t ssrc = htonl(0x716c6970);
};
static_assert(sizeof(RtpHeader) == QLIP_RTP_HEADER_SIZE);

uint32_t ticks_of(int64_t nanoseconds, unsigned int clock) {
    return static_cast<uint32_t>(std::llround(static_cast<double>(nanoseconds) * clock / kNanoseconds));
}

}  // namespace

KitFeed::KitFeed(std::unique_ptr<KitTrack> track, int64_t& start)
    : track_(std::move(track)), first_timestamp_(track_->info().first_timestamp) {
    start_ = start = track_->seek(start);
}

bool KitFeed::next(Burst& burst) {
    const qlip_frame* frame = track_->next_frame();
    if (!frame) return false;
    burst = {
        frame->time + passed_, static_cast<int64_t>(frame->duration), {frame->packets, frame->packet_count}};
    return true;
}

void KitFeed::start_over(int64_t length) {
    passed_ += length;
    track_->set_first_timestamp(first_timestamp_ + ticks_of(passed_, track_->info().clock_rate));
    track_->seek(start_);
}

RecordFeed::RecordFeed(Open open, Describe describe, unsigned int usual_type)
    : open_(std::move(open)),
      describe_(std::move(describe)),
      payload_type_(usual_type),
      takes_types_(usual_type == 0) {
    reopen();
}

void RecordFeed::reopen() {
    reader_.reset();
    source_ = open_();
    reader_ = std::make_unique<StreamReader>(*source_);
}

bool RecordFeed::next(Burst& burst) {
    if (!reader_->next(frame_)) return false;
    bytes_.clear();
    sizes_.clear();
    const bool audio = reader_->header().is_audio();
    if (audio) add(false, frame_.audio.sequence, frame_.audio.timestamp2, frame_.payload);
    for (const Packet& packet : frame_.packets) {
        if (takes_types_) payload_type_ = packet.payload_type();
        add(packet.marker(), packet.sequence(), packet.record.timestamp2, packet.payload);
    }
    packets_.clear();
    for (unsigned char* at = bytes_.data(); const size_t size : sizes_) {
        packets_.push_back({at, size});
        at += size;
    }
    const int64_t before = burst.time;
    if (!audio && frame_.packets.empty()) {
        burst = {before, 0, {}};
        return true;
    }
    burst.time =
        advance_to(audio ? frame_.audio.timestamp2 : frame_.packets.back().record.timestamp2) + passed_;
    burst.duration = std::max<int64_t>(burst.time - before, 0);
    burst.packets = packets_;
    return true;
}

void RecordFeed::add(bool marker, unsigned int sequence, uint32_t timestamp,
                     std::span<const unsigned char> payload) {
    RtpHeader header;
    header.marker_and_type = static_cast<unsigned char>(payload_type_ | (marker ? 0x80U : 0U));
    header.sequence = htons(static_cast<uint16_t>(sequence));
    header.timestamp = htonl(timestamp + ticks_of(passed_, clock()));
    const auto* head = reinterpret_cast<const unsigned char*>(&header);
    bytes_.insert(bytes_.end(), head, head + sizeof header);
    bytes_.insert(bytes_.end(), payload.begin(), payload.end());
    sizes_.push_back(sizeof header + payload.size());
}

// The signed difference follows a wrap of the timestamps.
int64_t RecordFeed::advance_to(uint32_t timestamp) {
    if (started_) ticks_ += static_cast<int32_t>(timestamp - last_timestamp_);
    started_ = true;
    last_timestamp_ = timestamp;
    return std::llround(static_cast<double>(ticks_) * kNanoseconds / clock());
}

unsigned int RecordFeed::clock() const {
    if (!reader_->header().is_audio()) return kVideoClock;
    return reader_->header().is_wide_band() ? kWidebandClock : kNarrowbandClock;
}

void RecordFeed::start_over(int64_t length) {
    passed_ += length;
    started_ = false;
    ticks_ = 0;
    reopen();
}

std::string RecordFeed::media_section(unsigned int port) const {
    return describe_(reader_->header(), payload_type_, port);
}

}  // namespace qlip_tool
