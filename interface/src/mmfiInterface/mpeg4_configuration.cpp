#include "interface/src/mmfiInterface/mpeg4_configuration.h"

#include <emmintrin.h>

#include <algorithm>
#include <cstring>

#include "common/log.h"

namespace {

constexpr const char* kPath = qlip::kSessionPath;
constexpr unsigned char kSequenceCode = 0xB0;  // visual_object_sequence_start_code
constexpr unsigned char kVopCode = 0xB6;       // vop_start_code
constexpr int kCodeBytes = 4;
constexpr int kIntraBelow = 64;  // vop_coding_type, the two bits behind the code, is 0 for an intra VOP
constexpr int kUnsearchedTail =
    4;  // a packet's last bytes, beside those that the search itself leaves out: kept

bool code_at(const unsigned char* data, unsigned char code) {
    return data[0] == 0 && data[1] == 0 && data[2] == 1 && data[3] == code && data[4] < kIntraBelow;
}

constexpr int kBlock = 16;
constexpr int kStride = 4 * kBlock;

// All ones at each of 16 positions at which two zero bytes stand; reads 17 bytes.
__m128i zero_pairs(const unsigned char* data) {
    const __m128i here = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data));
    const __m128i next = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + 1));
    return _mm_cmpeq_epi8(_mm_or_si128(here, next), _mm_setzero_si128());
}

// The same as one bit each.
unsigned int zero_pair_bits(const unsigned char* data) {
    return static_cast<unsigned int>(_mm_movemask_epi8(zero_pairs(data)));
}

bool stride_has_zero_pair(const unsigned char* data) {
    const __m128i low = _mm_or_si128(zero_pairs(data), zero_pairs(data + kBlock));
    const __m128i high = _mm_or_si128(zero_pairs(data + 2 * kBlock), zero_pairs(data + 3 * kBlock));
    return _mm_movemask_epi8(_mm_or_si128(low, high)) != 0;
}

int find_in_block(const unsigned char* data, unsigned char code) {
    for (unsigned int pairs = zero_pair_bits(data); pairs != 0; pairs &= pairs - 1) {
        const int candidate = __builtin_ctz(pairs);
        if (code_at(data + candidate, code)) return candidate;
    }
    return -1;
}

int find_code(const unsigned char* data, int length, unsigned char code) {
    const int end = length > kCodeBytes ? length - kCodeBytes : 0;
    int at = 0;
    while (end - at >= kBlock) {
        while (end - at >= kStride && !stride_has_zero_pair(data + at))
            at += kStride;
        if (end - at < kBlock) break;
        const int found = find_in_block(data + at, code);
        if (found >= 0) return at + found;
        at += kBlock;
    }
    for (; at < end; ++at) {
        if (code_at(data + at, code)) return at;
    }
    return -1;
}

// The stream's own configuration, from its start code up to the VOP.
void replace_configuration(iso_track* track, const unsigned char* from, int bytes) {
    std::memcpy(track->dsi, from, static_cast<size_t>(bytes));
    track->dsi_size = bytes;
}

}  // namespace

int CheckForIFrame(unsigned char* data, int length) {
    return find_code(data, length, kVopCode) >= 0 ? 1 : 0;
}

int FindStartCode(unsigned char* data, int length, char code) {
    return find_code(data, length, static_cast<unsigned char>(code));
}

void printInfo(unsigned char* data, int length) {
    constexpr int kPerLine = 10;
    QLIP_LOG_DEBUG(kPath, "Dump:sz=%d", length);
    for (int i = 0; i < length; i += kPerLine) {
        const unsigned char* line = data + i;
        QLIP_LOG_DEBUG(kPath, "Data:%02x %02x %02x %02x %02x %02x %02x %02x %02x %02x", line[0], line[1],
                       line[2], line[3], line[4], line[5], line[6], line[7], line[8], line[9]);
    }
}

namespace qlip {

bool reserve_configuration(iso_track* track) {
    const int held = std::max(track->dsi_size, 0);
    auto* room = static_cast<unsigned char*>(isoFFmalloc(track->file, std::max(held, MMFI_BUFFER_SIZE)));
    if (room == nullptr) return false;
    if (track->dsi != nullptr && held > 0) std::memcpy(room, track->dsi, static_cast<size_t>(held));
    track->dsi = room;
    return true;
}

// An intra sample that brings a configuration refreshes the track's; one without gets the track's in front.
// Returns the sample's new size, or -1 when it would no longer fit.
int configure_sample(mm_Interface& session, int bytes) {
    unsigned char* sample = session.sample_buffer;
    iso_track* track = session.track;
    const int vop = find_code(sample, bytes, kVopCode);
    if (vop < 0) return bytes;
    const int sequence = find_code(sample, bytes, kSequenceCode);
    if (sequence >= 0 && vop > sequence) {
        replace_configuration(track, sample + sequence, vop - sequence);
        return bytes;
    }
    if (track->dsi_size <= 0) return bytes;
    if (track->dsi_size > MMFI_BUFFER_SIZE - bytes) return -1;
    std::memmove(sample + track->dsi_size, sample, static_cast<size_t>(bytes));
    std::memcpy(sample, track->dsi, static_cast<size_t>(track->dsi_size));
    return bytes + track->dsi_size;
}

namespace {

// Puts the track's configuration in front of the VOP. `carry_buffer` is the scratch, from its start, even
// while it holds packets of this frame: kept, it counts on an intra VOP standing in the first packet of its
// frame.
int insert_configuration(mm_Interface& session, int bytes, int vop) {
    const iso_track* track = session.track;
    if (track->dsi_size > MMFI_BUFFER_SIZE - bytes) return -1;
    unsigned char* packet = session.sample_buffer;
    unsigned char* scratch = session.carry_buffer;
    const auto added = static_cast<size_t>(std::max(track->dsi_size, 0));
    const auto head = size_t{kRtpHeaderBytes} + static_cast<size_t>(vop);
    const auto total = static_cast<size_t>(bytes);
    std::memcpy(scratch, packet, head);
    std::memcpy(scratch + head, track->dsi, added);
    std::memcpy(scratch + head + added, packet + head, total - head);
    std::memcpy(packet, scratch, total + added);
    return static_cast<int>(total + added);
}

}  // namespace

// A packet that opens an intra VOP without a configuration gets the track's in front of the VOP; a
// configuration in the packet replaces the track's, if the header record could hold it.
int configure_packet(VideoCall& call, int bytes) {
    mm_Interface& session = call.session;
    unsigned char* payload = session.sample_buffer + kRtpHeaderBytes;
    const int searched = bytes - kRtpHeaderBytes - kUnsearchedTail;
    const int sequence = find_code(payload, searched, kSequenceCode);
    const int vop = find_code(payload, searched, kVopCode);
    if (vop < 0) return bytes;
    if (sequence < 0) return insert_configuration(session, bytes, vop);
    if (vop > sequence && vop - sequence <= WLD_CONFIG_CAPACITY) {
        replace_configuration(session.track, payload + sequence, vop - sequence);
    }
    return bytes;
}

}  // namespace qlip
