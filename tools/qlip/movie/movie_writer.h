// A 3GP file that the tool writes with the ISO engine's writer.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>

#include <CLI/CLI.hpp>

#include "qlip/isoff.h"

namespace qlip_tool {

// How a file is laid out; the options that all writing commands share.
struct MovieOptions {
    std::string brands;  // separated by blanks, the first is the major one; empty: the library's own
    double interleave_seconds = 1.0;
    uint32_t largest_file = 0x7FFFFFFF;
    bool direct = false;

    void add_to(CLI::App& command);
};

class MovieWriter {
  public:
    // `tracks` is how many will be added. Throws ToolError when the file cannot be created or is `not_onto`,
    // an input.
    MovieWriter(const std::string& path, const MovieOptions& options, int tracks,
                const std::string& not_onto);
    ~MovieWriter();
    MovieWriter(const MovieWriter&) = delete;
    MovieWriter& operator=(const MovieWriter&) = delete;

    iso_file* file() { return file_; }
    iso_track* add_track();

    // Frames that no longer fit are left out and counted. Throws ToolError when writing fails.
    void write(iso_track* track, std::span<const unsigned char> frame, int delta, int offset = 0);

    // Closes the file, reads it back, and says on standard error when it holds fewer frames than were given.
    // Throws ToolError when they were lost to the output rather than to its size limit.
    void finish();

  private:
    uint64_t frames_in_the_file() const;

    std::string path_;
    FILE* stream_;
    iso_file* file_ = nullptr;
    bool limited_;
    uint64_t given_ = 0;
};

}  // namespace qlip_tool
