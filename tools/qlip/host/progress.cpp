#include "host/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>

namespace qlip_tool {

namespace {
constexpr int kWidth = 30;
constexpr std::chrono::milliseconds kFirstAfter{300};
constexpr std::chrono::milliseconds kBetween{100};
}  // namespace

Progress::Progress(std::string label, uint64_t total, std::string unit)
    : label_(std::move(label)),
      total_(total),
      unit_(std::move(unit)),
      shown_(isatty(STDERR_FILENO) != 0),
      next_(std::chrono::steady_clock::now() + kFirstAfter) {}

Progress::~Progress() {
    if (drawn_) fmt::print(stderr, "\r\033[K");
}

void Progress::advance_to(uint64_t done) {
    if (!shown_ || std::chrono::steady_clock::now() < next_) return;
    next_ = std::chrono::steady_clock::now() + kBetween;
    draw(done);
    drawn_ = true;
}

void Progress::draw(uint64_t done) const {
    if (total_ == 0) {
        fmt::print(stderr, "\r\033[K{} {} {}", label_, done, unit_);
        return;
    }
    const uint64_t shown = std::min(done, total_);
    const int filled = static_cast<int>(kWidth * shown / total_);
    fmt::print(stderr, "\r\033[K{} [{:#<{}}{:.<{}}] {}% {}/{} {}", label_, "", filled, "", kWidth - filled,
               100 * shown / total_, done, total_, unit_);
}

}  // namespace qlip_tool
