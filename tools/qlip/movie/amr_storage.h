// AMR and AMR-WB storage files (RFC 4867 section 5, single channel).
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace qlip_tool {

class AmrStorage {
  public:
    enum class Band { narrow, wide };

    // Throws ToolError when the file is no storage file of that band, or a frame does not fit.
    AmrStorage(const std::string& path, Band band);

    size_t frame_count() const { return starts_.size() - 1; }
    std::span<const unsigned char> frame(size_t number) const;
    size_t size() const { return bytes_.size(); }

    // One bit for each frame type that occurs: the mode set of 3GPP TS 26.244 6.7.
    unsigned int mode_set() const { return mode_set_; }

  private:
    std::vector<unsigned char> bytes_;
    std::vector<size_t> starts_;  // of the frames, and the end
    unsigned int mode_set_ = 0;
};

}  // namespace qlip_tool
