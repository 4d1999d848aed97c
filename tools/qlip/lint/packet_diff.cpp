#include "lint/packet_diff.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "formats/nal.h"
#include "formats/rtp.h"
#include "host/tool_error.h"
#include "lint/kit_stream.h"
#include "stream/kit_track.h"

namespace qlip_tool {
namespace {

constexpr uint64_t kTypeAt = 4;  // in a box header

// The file, but its hint tracks are boxes that readers pass over.
struct WithoutHints {
    FileHost& host;
    std::vector<uint64_t> types;  // where the hint tracks' box types stand

    static int64_t read_at(void* user, void* to, size_t size, uint64_t offset) {
        auto& self = *static_cast<WithoutHints*>(user);
        const size_t got = self.host.read_at(offset, to, size);
        for (const uint64_t at : self.types) {
            for (uint64_t i = 0; i < 4; ++i) {
                if (at + i >= offset && at + i - offset < got)
                    static_cast<char*>(to)[at + i - offset] = "free"[i];
            }
        }
        return static_cast<int64_t>(got);
    }
    static uint64_t size(void* user) { return static_cast<WithoutHints*>(user)->host.size(); }
};

struct OnePacket {
    std::vector<unsigned char> payload;
    bool marker;
};

std::vector<OnePacket> packets_of(const qlip_frame& frame) {
    std::vector<OnePacket> packets;
    for (unsigned int i = 0; i < frame.packet_count; ++i) {
        const auto* bytes = static_cast<const unsigned char*>(frame.packets[i].iov_base);
        packets.push_back(
            {{bytes + QLIP_RTP_HEADER_SIZE, bytes + frame.packets[i].iov_len}, qlip::rtp_marker(bytes) != 0});
    }
    return packets;
}

std::string describe(const OnePacket* packet, std::string_view encoding) {
    if (!packet) return {};
    std::string kind;
    const auto& payload = packet->payload;
    if (encoding == "H264" && payload.size() > 1) {
        const unsigned int type = payload[0] & qlip::kNalTypeMask;
        kind = type == qlip::kNalFuA ? fmt::format(", FU-A of type {}", payload[1] & qlip::kNalTypeMask)
                                     : fmt::format(", unit type {}", type);
    }
    return fmt::format("{} bytes{}{}", payload.size(), kind, packet->marker ? ", marker" : "");
}

class Comparison {
  public:
    Comparison(qlip_stream* hinted, qlip_stream* own)
        : hinted_(hinted),
          own_(own),
          encoding_(qlip_stream_get_info(hinted)->encoding_name),
          own_encoding_(qlip_stream_get_info(own)->encoding_name) {}

    std::vector<PacketDiff> run() {
        for (uint64_t frame = 1;; ++frame) {
            const std::vector<OnePacket> ours = next(own_), theirs = next(hinted_);
            if (ours.empty() && theirs.empty()) return std::move(diffs_);
            compare(frame, theirs, ours);
        }
    }

  private:
    static std::vector<OnePacket> next(qlip_stream* stream) {
        const qlip_frame* frame = nullptr;
        return qlip_stream_read(stream, &frame) == QLIP_SUCCESS ? packets_of(*frame)
                                                                : std::vector<OnePacket>();
    }

    void compare(uint64_t frame, const std::vector<OnePacket>& theirs, const std::vector<OnePacket>& ours) {
        for (size_t i = 0; i < std::max(theirs.size(), ours.size()); ++i) {
            const OnePacket* one = i < theirs.size() ? &theirs[i] : nullptr;
            const OnePacket* other = i < ours.size() ? &ours[i] : nullptr;
            if (one && other && one->marker == other->marker && one->payload == other->payload) continue;
            diffs_.push_back({frame, i + 1, describe(one, encoding_), describe(other, own_encoding_)});
        }
    }

    qlip_stream* hinted_;
    qlip_stream* own_;
    std::string encoding_, own_encoding_;
    std::vector<PacketDiff> diffs_;
};

}  // namespace

std::vector<PacketDiff> compare_packets(FileHost& host, const std::vector<TableTrack>& tracks) {
    WithoutHints without{host, {}};
    for (const TableTrack& track : tracks) {
        if (track.is_hint()) without.types.push_back(track.offset + kTypeAt);
    }
    qlip_source* bare = nullptr;
    const qlip_source_functions functions = {sizeof functions, WithoutHints::read_at, WithoutHints::size,
                                             nullptr};
    qlip_source_custom(&bare, &functions, &without);
    const KitSource source = kit_source(host, false), without_hints(bare);
    int status = 0;
    const KitStream hinted = open_stream(source, QLIP_VIDEO, &status);
    const KitStream own = open_stream(without_hints, QLIP_VIDEO, &status);
    if (!hinted || !own || qlip_stream_get_info(hinted.get())->hinted == 0) return {};
    return Comparison(hinted.get(), own.get()).run();
}

}  // namespace qlip_tool
