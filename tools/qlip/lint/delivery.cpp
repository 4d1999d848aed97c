#include "lint/delivery.h"

#include <fmt/format.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <fstream>

#include "formats/rtp.h"
#include "host/text.h"
#include "host/tool_error.h"
#include "lint/kit_stream.h"
#include "lint/payload_rules.h"
#include "stream/kit_track.h"
#include "stream/stream_reader.h"

namespace qlip_tool {
namespace {

constexpr uint64_t kManyPackets = 32;
constexpr double kPeakOverMean = 4.0;
constexpr double kMuchJitter = 100.0;          // ms
constexpr uint64_t kMuchMemory = 1024 * 1024;  // bytes
constexpr double kManyReads = 1000.0;          // a second

// Both roads number their packets; this is what they have in common.
struct Head {
    unsigned int sequence;
    uint32_t timestamp;
    bool marker;
};

// RTP of one track, packet by packet.
class RtpCheck {
  public:
    RtpCheck(unsigned int track, const char* part, bool video, std::string_view encoding, Findings& findings)
        : track_(track),
          part_(part),
          video_(video),
          payload_(make_payload_check(encoding)),
          findings_(findings) {}

    void packet(const Head& head, std::span<const unsigned char> payload, bool first, bool last) {
        ++count_;
        const auto wrong = [&](RuleId id, std::string what) { findings_.add(id, place(), std::move(what)); };
        if (count_ > 1 && head.sequence != ((before_.sequence + 1) & 0xFFFFU))
            wrong(RuleId::RtpSequence, fmt::format("{} after {}", head.sequence, before_.sequence));
        if (!first && head.timestamp != before_.timestamp)
            wrong(RuleId::RtpTimestamp, fmt::format("{} after {}", head.timestamp, before_.timestamp));
        if (video_ && head.marker != last)
            wrong(RuleId::RtpMarker,
                  last ? "none on the picture's last packet" : "one in front of the picture's last packet");
        if (payload.size() > static_cast<size_t>(qlip::kPacketBytes))
            wrong(RuleId::RtpSize, fmt::format("{} bytes of payload", count_text(payload.size())));
        if (payload_) payload_->check({payload, first, last, place()}, findings_);
        before_ = head;
    }

  private:
    Place place() const { return {track_, part_, {}, {}, count_}; }

    unsigned int track_;
    const char* part_;
    bool video_;
    std::unique_ptr<PayloadCheck> payload_;
    Findings& findings_;
    uint64_t count_ = 0;
    Head before_ = {};
};

Head head_of(std::span<const unsigned char> packet) {
    return {qlip::rtp_sequence(packet.data()), qlip::rtp_timestamp(packet.data()),
            qlip::rtp_marker(packet.data()) != 0};
}

double in_seconds(int64_t nanoseconds) {
    return static_cast<double>(nanoseconds) / 1e9;
}

// What `qlip rtp` and the host kit send.
class SentCheck {
  public:
    SentCheck(qlip_stream* stream, Findings& findings)
        : stream_(stream),
          info_(*qlip_stream_get_info(stream)),
          findings_(findings),
          rtp_(info_.track_id, "sent", info_.medium == QLIP_VIDEO, info_.encoding_name, findings) {
        sent_.id = info_.track_id;
        sent_.video = info_.medium == QLIP_VIDEO;
        sent_.encoding = info_.encoding_name;
        sent_.format_parameters = info_.format_parameters;
        sent_.hinted = info_.hinted != 0;
        sent_.seconds = in_seconds(static_cast<int64_t>(info_.duration));
    }

    SentTrack run() {
        const qlip_frame* frame = nullptr;
        int status = QLIP_SUCCESS;
        while ((status = qlip_stream_read(stream_, &frame)) == QLIP_SUCCESS)
            take(*frame);
        if (status != QLIP_END_OF_FILE) {
            findings_.add(RuleId::DeliveryFailed, {sent_.id, "sent", {}, {}, sent_.packets.size()},
                          qlip_stream_error(stream_));
        }
        measure();
        return std::move(sent_);
    }

  private:
    void take(const qlip_frame& frame) {
        uint64_t bytes = 0;
        for (unsigned int i = 0; i < frame.packet_count; ++i) {
            const iovec& packet = frame.packets[i];
            const std::span<const unsigned char> whole(static_cast<const unsigned char*>(packet.iov_base),
                                                       packet.iov_len);
            rtp_.packet(head_of(whole), whole.subspan(QLIP_RTP_HEADER_SIZE), i == 0,
                        i + 1 == frame.packet_count);
            sent_.packets.push_back({in_seconds(frame.time), static_cast<uint32_t>(whole.size())});
            bytes += whole.size();
        }
        ++sent_.frames;
        sent_.bytes += bytes;
        sent_.most_packets = std::max<uint64_t>(sent_.most_packets, frame.packet_count);
        sent_.longest_frame = std::max(sent_.longest_frame, bytes);
        add_jitter(frame);
    }

    // RFC 3550 A.8, for a network that delays nothing: what is left is the sender's own.
    void add_jitter(const qlip_frame& frame) {
        const double transit = in_seconds(frame.time) - in_seconds(frame.presentation_time);
        if (sent_.frames > 1) jitter_ += (std::fabs(transit - transit_) - jitter_) / 16.0;
        transit_ = transit;
        sent_.jitter_ms = std::max(sent_.jitter_ms, jitter_ * 1000.0);
    }

    void measure() {
        if (sent_.seconds > 0) sent_.mean_rate = static_cast<double>(sent_.bytes) * 8.0 / sent_.seconds;
        uint64_t second = 0;  // bytes of the packets from `first` on
        size_t first = 0;
        for (const SentPacket& packet : sent_.packets) {
            second += packet.size;
            while (sent_.packets[first].time <= packet.time - 1.0)
                second -= sent_.packets[first++].size;
            sent_.peak_rate = std::max(sent_.peak_rate, static_cast<double>(second) * 8.0);
        }
    }

    qlip_stream* stream_;
    const qlip_stream_info& info_;
    Findings& findings_;
    RtpCheck rtp_;
    SentTrack sent_;
    double transit_ = 0, jitter_ = 0;
};

const char* encoding_of(const StreamHeader& header) {
    if (header.is_audio()) return header.is_wide_band() ? "AMR-WB" : "AMR";
    const std::string name = header.codec_name();
    return name == "s263" ? "H263" : name == "s263+" ? "H263-1998" : name == "s264" ? "H264" : "MP4V-ES";
}

// What qlip_ReadChunk delivers.
void check_records(ChunkSource& source, const SentTrack& track, Findings& findings) {
    StreamReader reader(source);
    const bool audio = reader.header().is_audio();
    RtpCheck rtp(track.id, "native stream", !audio, encoding_of(reader.header()), findings);
    Frame frame = {};
    while (reader.next(frame)) {
        if (audio)
            rtp.packet({frame.audio.sequence, frame.audio.timestamp2, false}, frame.payload, true, true);
        for (size_t i = 0; i < frame.packets.size(); ++i) {
            const Packet& packet = frame.packets[i];
            rtp.packet({packet.sequence(), packet.record.timestamp, packet.marker()}, packet.payload, i == 0,
                       i + 1 == frame.packets.size());
        }
    }
}

// Bytes of this process that are in memory: what was taken but never touched costs nothing.
uint64_t resident_memory() {
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);  // fixed, so that large blocks come and go whole
    malloc_trim(0);
    uint64_t pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
}

// What an open session of the C interface holds.
uint64_t memory_of_session(FileHost& host, bool video) {
    mm_Interface* session = nullptr;
    host.start_over();
    const uint64_t before = resident_memory();
    qlip_Open(&session, host.record(), video ? "rv" : "ra");
    const uint64_t after = resident_memory();
    qlip_Close(&session);
    return after > before ? after - before : 0;
}

// A track as a native stream, whose reads of the file are counted.
class CountedStream : public ChunkSource {
  public:
    CountedStream(FileHost& host, qlip_medium medium) : host_(host) {
        const qlip_source_functions functions = {sizeof functions, read_at, size, nullptr};
        qlip_source* source = nullptr;
        qlip_source_custom(&source, &functions, this);
        source_.reset(source);
        int status = 0;
        stream_ = open_stream(source_, medium, &status, true);
        if (!stream_) throw ToolError(Exit::bad_input, qlip_StatusString(status));
        reads_ = bytes_ = 0;
    }

    std::span<const unsigned char> next() override {
        const void* chunk = nullptr;
        size_t size = 0;
        const int status = qlip_stream_read_chunk(stream_.get(), &chunk, &size);
        if (status == QLIP_END_OF_FILE) return {};
        if (status != QLIP_SUCCESS) throw ToolError(Exit::bad_input, qlip_stream_error(stream_.get()));
        return {static_cast<const unsigned char*>(chunk), size};
    }

    uint64_t reads() const { return reads_; }  // since it was opened, and their bytes
    uint64_t bytes() const { return bytes_; }

  private:
    static int64_t read_at(void* user, void* to, size_t size, uint64_t offset) {
        auto& self = *static_cast<CountedStream*>(user);
        const size_t got = self.host_.read_at(offset, to, size);
        ++self.reads_;
        self.bytes_ += got;
        return static_cast<int64_t>(got);
    }
    static uint64_t size(void* user) { return static_cast<CountedStream*>(user)->host_.size(); }

    FileHost& host_;
    KitSource source_;
    KitStream stream_;
    uint64_t reads_ = 0, bytes_ = 0;
};

void check_stream(FileHost& host, SentTrack& track, Findings& findings) {
    try {
        CountedStream stream(host, track.video ? QLIP_VIDEO : QLIP_AUDIO);
        track.open_memory = memory_of_session(host, track.video);
        check_records(stream, track, findings);
        if (track.seconds <= 0) return;
        track.reads_per_second = static_cast<double>(stream.reads()) / track.seconds;
        track.bytes_per_second = static_cast<double>(stream.bytes()) / track.seconds;
    } catch (const ToolError& error) {
        findings.add(RuleId::DeliveryFailed, {track.id, "native stream", {}, {}, {}}, error.what());
    }
}

void check_cost(const SentTrack& track, Findings& findings) {
    const auto note = [&](RuleId id, std::string what) {
        findings.add(id, {track.id, {}, {}, {}, {}}, std::move(what));
    };
    if (track.most_packets > kManyPackets)
        note(RuleId::LongFrame, fmt::format("a picture of {} packets, {} bytes",
                                            count_text(track.most_packets), count_text(track.longest_frame)));
    if (track.seconds > 2.0 && track.peak_rate > kPeakOverMean * track.mean_rate)
        note(RuleId::RatePeak, fmt::format("{:.0f} kbit/s over a second, {:.0f} kbit/s on average",
                                           track.peak_rate / 1000, track.mean_rate / 1000));
    if (track.jitter_ms > kMuchJitter) note(RuleId::Jitter, fmt::format("{:.0f} ms", track.jitter_ms));
    if (track.open_memory > kMuchMemory)
        note(RuleId::OpenMemory, fmt::format("{} bytes", count_text(track.open_memory)));
    if (track.reads_per_second > kManyReads)
        note(RuleId::ManyReads, fmt::format("{:.0f} reads a second", track.reads_per_second));
}

}  // namespace

std::vector<SentTrack> check_delivery(FileHost& host, Findings& findings) {
    const KitSource source = kit_source(host, false);
    std::vector<SentTrack> tracks;
    for (const qlip_medium medium : {QLIP_AUDIO, QLIP_VIDEO}) {
        int status = 0;
        const KitStream stream = open_stream(source, medium, &status);
        if (!stream) {
            if (status != QLIP_NO_SUCH_TRACK && status != QLIP_UNKNOWN_CODER)
                findings.add(
                    RuleId::DeliveryFailed, {},
                    fmt::format("it does not open for {}: {}", medium == QLIP_AUDIO ? "audio" : "video",
                                qlip_StatusString(status)));
            continue;
        }
        tracks.push_back(SentCheck(stream.get(), findings).run());
        check_stream(host, tracks.back(), findings);
        check_cost(tracks.back(), findings);
    }
    return tracks;
}

}  // namespace qlip_tool
