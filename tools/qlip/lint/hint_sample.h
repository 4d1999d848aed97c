// Samples of RTP hint tracks (ISO/IEC 14496-12 9.1.3), taken apart.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace qlip_tool {

// A run of payload bytes: of the packet itself, or of a sample.
struct HintPiece {
    enum class Kind { Immediate, MediaSample, OwnSample, Description };

    Kind kind;
    std::span<const unsigned char> bytes;  // Immediate
    uint32_t sample = 0;                   // from 1
    uint32_t offset = 0, size = 0;
};

struct HintPacket {
    int32_t relative_time;
    bool marker;
    unsigned int payload_type;
    unsigned int sequence_seed;
    std::vector<HintPiece> pieces;
};

struct HintSample {
    std::vector<HintPacket> packets;
    std::string fault;  // why it ends early, or empty
};

// The pieces refer to `bytes`.
HintSample parse_hint_sample(std::span<const unsigned char> bytes);

}  // namespace qlip_tool
