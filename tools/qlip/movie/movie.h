// A 3GP file opened with the ISO engine, for all that look into it.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "host/file_host.h"
#include "qlip/isoff.h"

namespace qlip_tool {

// The largest sample that the library delivers.
inline constexpr unsigned int kLargestSample = 64000;

// Whether the first 8 bytes of a file are a box that a 3GP file begins with.
bool begins_like_3gp(std::string_view first_bytes);

bool is_hint(const iso_track& track);

class Movie {
  public:
    // Reads the structure. `host` must stay as long. Throws ToolError when it cannot be read; a damaged file
    // is one with fewer tracks.
    explicit Movie(FileHost& host);

    iso_file* file() const { return file_.get(); }
    iso_file* operator->() const { return file_.get(); }

    // In the order of the file.
    const std::vector<iso_track*>& tracks() const { return tracks_; }

  private:
    struct Close {
        void operator()(iso_file* file) const { isoFFclose(file); }
    };

    std::unique_ptr<iso_file, Close> file_;
    std::vector<iso_track*> tracks_;
};

}  // namespace qlip_tool
