// A 3GP file that the tool writes with the ISO engine's writer.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/output.h"
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
    // `tracks` is how many will be added. The file appears under its name with finish(); what cannot be put
    // in place, standard output or a pipe, gets it then. Throws ToolError when it cannot be created, or is
    // one of the inputs.
    MovieWriter(const std::string& path, const MovieOptions& options, int tracks,
                const std::vector<std::string>& inputs);
    ~MovieWriter() = default;
    MovieWriter(const MovieWriter&) = delete;
    MovieWriter& operator=(const MovieWriter&) = delete;

    iso_file* file() { return file_.get(); }
    iso_track* add_track();

    // Frames that no longer fit are left out and counted. Throws ToolError when writing fails.
    void write(iso_track* track, std::span<const unsigned char> frame, int delta, int offset = 0);

    // Closes the file, reads it back, and says on standard error when the size limit left frames out. Throws
    // ToolError, and leaves no file, when none is in it or some were lost to the output.
    void finish();

  private:
    void create(const std::vector<std::string>& inputs);
    uint64_t frames_in_the_file() const;
    void check(uint64_t kept) const;
    void hand_over();

    std::string path_;
    const MovieOptions options_;
    std::optional<PendingFile> whole_;
    std::optional<Output> direct_;
    struct Close {
        void operator()(iso_file* file) const { isoFFclose(file); }
        void operator()(FILE* stream) const { std::fclose(stream); }
    };
    std::unique_ptr<FILE, Close> stream_;
    std::unique_ptr<iso_file, Close> file_;  // finishes into the stream when it is closed
    uint64_t given_ = 0;
};

}  // namespace qlip_tool
