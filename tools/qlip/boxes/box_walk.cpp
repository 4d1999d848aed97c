#include "boxes/box_walk.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

namespace qlip_tool {
namespace {

constexpr uint64_t kHeaderSize = 8;
constexpr int kDeepest = 16;  // real files nest no deeper than 10

// Boxes with children, and the bytes of their own that stand in front of the first one.
struct ContainerRow {
    std::string_view type;
    uint64_t own;
};
constexpr std::array kContainerRows = {
    ContainerRow{"moov", 0},  ContainerRow{"trak", 0},  ContainerRow{"mdia", 0},  ContainerRow{"minf", 0},
    ContainerRow{"stbl", 0},  ContainerRow{"dinf", 0},  ContainerRow{"edts", 0},  ContainerRow{"tref", 0},
    ContainerRow{"udta", 0},  ContainerRow{"hnti", 0},  ContainerRow{"hinf", 0},  ContainerRow{"dref", 8},
    ContainerRow{"stsd", 8},  ContainerRow{"mp4v", 78}, ContainerRow{"s263", 78}, ContainerRow{"avc1", 78},
    ContainerRow{"mp4a", 28}, ContainerRow{"samr", 28}, ContainerRow{"sawb", 28}, ContainerRow{"sawp", 28},
    ContainerRow{"rtp ", 16}, ContainerRow{"srtp", 16},
};

const ContainerRow* container_row(std::string_view type) {
    const auto* row = std::find_if(kContainerRows.begin(), kContainerRows.end(),
                                   [&](const ContainerRow& candidate) { return candidate.type == type; });
    return row == kContainerRows.end() ? nullptr : row;
}

class Walk {
  public:
    explicit Walk(FileHost& host) : host_(host) {}

    std::vector<BoxNode> range(uint64_t at, uint64_t end, int depth) {
        std::vector<BoxNode> nodes;
        while (at < end) {
            nodes.push_back(box(at, end, depth));
            at += nodes.back().size;
        }
        return nodes;
    }

  private:
    struct Header {
        uint32_t size;
        char type[4];
    };

    // A box that cannot be passed takes all that is left, so that the walk always moves on.
    BoxNode box(uint64_t at, uint64_t end, int depth) {
        Header header = {};
        const uint64_t left = end - at;
        if (left < kHeaderSize || host_.read_at(at, &header, sizeof header) < sizeof header) {
            return {"", at, left, fmt::format("{} bytes that are no box", left), {}, true};
        }
        const uint64_t size = ntohl(header.size);
        BoxNode node = {
            std::string(header.type, sizeof header.type), at, std::min(size, left), {}, {}, size == 0};
        if (size == 1) node.fault = "has a 64-bit size, which is not supported";
        if (size == 0) node.fault = "has size 0, to the end of the file, which is not supported";
        if (size > 1 && size < kHeaderSize)
            node.fault = fmt::format("has size {}, less than its header", size);
        if (size > left) node.fault = fmt::format("says {} bytes, but only {} are left", size, left);
        if (size < kHeaderSize) node.size = left;
        if (size >= kHeaderSize) node.children = children_of(node, depth);
        return node;
    }

    std::vector<BoxNode> children_of(const BoxNode& node, int depth) {
        const ContainerRow* row = container_row(node.type);
        if (!row || depth >= kDeepest) return {};
        const uint64_t first = node.offset + kHeaderSize + row->own;
        return range(first, std::max(first, node.offset + node.size), depth + 1);
    }

    FileHost& host_;
};

}  // namespace

std::vector<BoxNode> walk_boxes(FileHost& host) {
    return walk_boxes(host, 0, host.size());
}

std::vector<BoxNode> walk_boxes(FileHost& host, uint64_t at, uint64_t end) {
    return Walk(host).range(at, end, 0);
}

}  // namespace qlip_tool
