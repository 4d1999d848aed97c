#include "movie/amr_storage.h"

#include <fmt/format.h>

#include <array>
#include <cstring>
#include <string_view>

#include "host/stream_file.h"
#include "host/tool_error.h"

namespace qlip_tool {
namespace {

constexpr int kReserved = -1;

struct Format {
    std::string_view magic;
    std::string_view name;
    std::array<int, 16> speech_bytes;  // by frame type, behind the table-of-contents byte
};

// 3GPP TS 26.101 and 26.201: frame types 15 (no data) and 14 (speech lost, AMR-WB only) are empty.
constexpr Format kNarrow = {
    "#!AMR\n",
    "AMR",
    {12, 13, 15, 17, 19, 20, 26, 31, 5, kReserved, kReserved, kReserved, kReserved, kReserved, kReserved, 0}};
constexpr Format kWide = {
    "#!AMR-WB\n",
    "AMR-WB",
    {17, 23, 32, 36, 40, 46, 50, 58, 60, 5, kReserved, kReserved, kReserved, kReserved, 0, 0}};

std::vector<unsigned char> read_all(const std::string& path) {
    StreamFile file(path);
    std::vector<unsigned char> bytes;
    for (auto piece = file.next(); !piece.empty(); piece = file.next())
        bytes.insert(bytes.end(), piece.begin(), piece.end());
    return bytes;
}

}  // namespace

AmrStorage::AmrStorage(const std::string& path, Band band) : bytes_(read_all(path)) {
    const Format& format = band == Band::narrow ? kNarrow : kWide;
    const size_t head = format.magic.size();
    if (bytes_.size() < head || std::memcmp(bytes_.data(), format.magic.data(), head) != 0) {
        throw ToolError(
            Exit::bad_input, fmt::format("{} is no {} storage file", path, format.name),
            fmt::format("a file that begins with '#!{}' and a line end (RFC 4867 section 5)", format.name));
    }
    size_t at = head;
    while (at < bytes_.size()) {
        const unsigned int type = (bytes_[at] >> 3U) & 15U;
        const int speech = format.speech_bytes[type];
        if (speech == kReserved || static_cast<size_t>(speech) >= bytes_.size() - at) {
            throw ToolError(Exit::bad_input,
                            fmt::format("{} is damaged at byte {}: a frame of type {}", path, at, type));
        }
        starts_.push_back(at);
        mode_set_ |= 1U << type;
        at += 1 + static_cast<size_t>(speech);
    }
    starts_.push_back(at);
}

std::span<const unsigned char> AmrStorage::frame(size_t number) const {
    return std::span(bytes_).subspan(starts_[number], starts_[number + 1] - starts_[number]);
}

}  // namespace qlip_tool
