// The options that `stream` and `rtp` share: which file, which track, which reader, how patient.
#pragma once

#include <CLI/App.hpp>
#include <memory>
#include <optional>
#include <string>

#include "host/chunk_source.h"
#include "host/file_host.h"

namespace qlip_tool {

struct SourceOptions {
    std::string file;
    std::string mode;  // empty: chosen by what the file holds
    bool indexed = false;
    bool follow = false;
    double patience = 5.0;
    std::string engine = "c";             // "c": the C entry points; "box": C3gpInterface
    std::optional<unsigned int> seek_ms;  // box only
    unsigned int seek_flag = 2;           // QLIP_SEEK_PREVIOUS_SYNC

    void add_to(CLI::App& command);
};

// A reader at work, as the options ask for it.
std::unique_ptr<ChunkSource> open_source(FileHost& host, const SourceOptions& options);

}  // namespace qlip_tool
