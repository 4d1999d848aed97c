#include "host/progress.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

#include "host/message.h"

namespace qlip_tool {

namespace {
constexpr size_t kWidth = 30;  // of the bar
constexpr std::chrono::milliseconds kFirstAfter{300};
constexpr std::chrono::milliseconds kBetween{100};

size_t terminal_width() {
    constexpr size_t kUsualWidth = 80;
    winsize window = {};
    const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0;
    return known ? window.ws_col : kUsualWidth;
}

}  // namespace

Progress::Progress(std::string label, uint64_t total, std::string unit)
    : label_(std::move(label)),
      total_(total),
      unit_(std::move(unit)),
      shown_(isatty(STDERR_FILENO) != 0),
      next_(std::chrono::steady_clock::now() + kFirstAfter) {}

Progress::~Progress() {
    if (drawn_) tell("\r\033[K");
}

void Progress::advance_to(uint64_t done) {
    if (!shown_ || std::chrono::steady_clock::now() < next_) return;
    next_ = std::chrono::steady_clock::now() + kBetween;
    draw(done);
    drawn_ = true;
}

// Never a line longer than the terminal is wide, which could not be drawn over: first the bar goes, then the
// end of the text.
void Progress::draw(uint64_t done) const {
    const size_t room = terminal_width() - 1;
    std::string text = fmt::format("{} {} {}", label_, done, unit_);
    if (total_ != 0) {
        const uint64_t shown = std::min(done, total_);
        const auto filled = static_cast<size_t>(kWidth * shown / total_);
        const std::string bar = std::string(filled, '#') + std::string(kWidth - filled, '.');
        const std::string count = fmt::format("{}% {}/{} {}", 100 * shown / total_, done, total_, unit_);
        text = fmt::format("{} [{}] {}", label_, bar, count);
        if (text.size() > room) text = label_ + " " + count;
    }
    say("\r\033[K{}", std::string_view(text).substr(0, room));
}

}  // namespace qlip_tool
