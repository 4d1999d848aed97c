#include "rtp/rtp_shaper.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>

namespace qlip_tool {
namespace {

//  0 1 2 3 4 5 6 7 8 9 0 1 2 3 4 5 6 7 8 9 ...   RFC 3550 5.1
// |V=2|P|X|  CC   |M|     PT      |   sequence number   |
// |                 timestamp     |  SSRC               |
struct RtpHeader {
    unsigned char version_and_counts;
    unsigned char marker_and_type;
    uint16_t sequence;
    uint32_t timestamp;
    uint32_t ssrc;
};
static_assert(sizeof(RtpHeader) == 12);

constexpr unsigned char kRtpVersion2 = 0x80;
constexpr unsigned char kMarkerBit = 0x80;
constexpr uint32_t kOurSsrc = 0x716c6970;

// NAL unit types of ITU-T H.264 7.4.1.
constexpr unsigned int kNalSps = 7;
constexpr unsigned int kNalPps = 8;

bool is_parameter_set(const RtpPacket& packet) {
    if (packet.payload.empty()) return false;
    const unsigned int type = packet.payload[0] & 31U;
    return type == kNalSps || type == kNalPps;
}

// Whether the table of contents names speech (RFC 4867 4.3.2): the frame types below the comfort noise ones.
bool is_speech(std::span<const unsigned char> payload, bool wide_band) {
    if (payload.size() < 2) return false;
    const unsigned int type = (payload[1] & 0x78U) / 8;
    return type < (wide_band ? 9U : 8U);
}

}  // namespace

void write_rtp(const RtpPacket& packet, std::vector<unsigned char>& into) {
    const RtpHeader header = {
        kRtpVersion2, static_cast<unsigned char>(packet.payload_type | (packet.marker ? kMarkerBit : 0U)),
        htons(static_cast<uint16_t>(packet.sequence)), htonl(packet.timestamp), htonl(kOurSsrc)};
    into.resize(sizeof header + packet.payload.size());
    std::memcpy(into.data(), &header, sizeof header);
    std::copy(packet.payload.begin(), packet.payload.end(), into.begin() + sizeof header);
}

const std::vector<RtpPacket>& RtpShaper::shape(const StreamHeader& header, const Frame& frame) {
    packets_.clear();
    if (header.is_audio()) {
        shape_audio(frame);
    } else {
        shape_video(frame);
    }
    if (!packets_.empty()) number();
    return packets_;
}

// The payload is RFC 4867's octet-aligned one already. The marker tells the first speech after silence (4.1).
void RtpShaper::shape_audio(const Frame& frame) {
    const bool speech = is_speech(frame.payload, format_.clock == 16000);
    packets_.push_back({format_.payload_type, speech && !talking_, frame.audio.sequence,
                        frame.audio.timestamp2, frame.payload});
    talking_ = speech;
}

void RtpShaper::shape_video(const Frame& frame) {
    for (const Packet& packet : frame.packets) {
        packets_.push_back({as_is_ ? packet.payload_type() : format_.payload_type, packet.marker(),
                            packet.sequence(), packet.record.timestamp2, packet.payload});
    }
    if (as_is_ || packets_.empty()) return;
    if (is_h264_) {
        const auto picture = std::find_if_not(packets_.begin(), packets_.end(), is_parameter_set);
        packets_.erase(std::remove_if(picture, packets_.end(), is_parameter_set), packets_.end());
    }
    for (RtpPacket& packet : packets_) {
        packet.timestamp = packets_.back().timestamp;
        packet.marker = &packet == &packets_.back();
    }
}

void RtpShaper::number() {
    if (!started_) next_sequence_ = packets_.front().sequence;
    const uint32_t unshifted = packets_.back().timestamp;
    if (restarted_) shift_ = last_timestamp_ + last_step_ - unshifted;
    if (started_ && !restarted_) last_step_ = unshifted + shift_ - last_timestamp_;
    last_timestamp_ = unshifted + shift_;
    started_ = true;
    restarted_ = false;
    for (RtpPacket& packet : packets_) {
        packet.timestamp += shift_;
        if (!as_is_) packet.sequence = next_sequence_++ & 0xFFFF;
    }
}

void RtpShaper::start_over() {
    restarted_ = started_;
    talking_ = false;
}

}  // namespace qlip_tool
