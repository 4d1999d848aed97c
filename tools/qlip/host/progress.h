// A progress bar on standard error, when that is a terminal and the work takes a while.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace qlip_tool {

class Progress {
  public:
    // `total` of 0: unknown, so only the count is shown.
    Progress(std::string label, uint64_t total, std::string unit);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void set_total(uint64_t total) { total_ = total; }
    void advance_to(uint64_t done);

  private:
    void draw(uint64_t done) const;

    std::string label_;
    uint64_t total_;
    std::string unit_;
    bool shown_;
    bool drawn_ = false;
    std::chrono::steady_clock::time_point next_;
};

}  // namespace qlip_tool
