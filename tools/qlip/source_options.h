// The options that `stream` and `rtp` share: which file, which track, which reader, how patient.
#pragma once

#include <CLI/App.hpp>
#include <memory>
#include <string>

#include "chunk_source.h"
#include "file_host.h"

namespace qlip_tool {

struct SourceOptions {
    std::string file;
    std::string mode;  // empty: chosen by what the file holds
    bool indexed = false;
    bool follow = false;
    double patience = 5.0;

    void add_to(CLI::App& command);
};

// A reader at work, as the options ask for it.
std::unique_ptr<ChunkSource> open_source(FileHost& host, const SourceOptions& options);

}  // namespace qlip_tool
