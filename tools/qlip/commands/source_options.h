// The options that `stream` and `rtp` share: which file, which track, which reader, how patient.
#pragma once

#include <CLI/App.hpp>
#include <memory>
#include <optional>
#include <string>

#include "host/file_host.h"
#include "stream/kit_track.h"

namespace qlip_tool {

struct SourceOptions {
    std::string file;
    std::string mode;  // empty: chosen by what the file holds
    bool indexed = false;
    bool follow = false;
    double patience = 5.0;
    std::string engine = "c";               // "c": the host kit on the C entry points; "box": C3gpInterface
    std::optional<unsigned int> seek_ms;    // for a native stream: box only
    std::optional<unsigned int> seek_flag;  // box only: QLIP_SEEK_...

    // `plays`: the command plays frames rather than passes a native stream on.
    void add_to(CLI::App& command, bool plays);

    bool uses_box() const { return engine == "box"; }
    Growth growth(FileHost& host) const { return {host, follow, Seconds(patience)}; }
};

// A native stream, as the options ask for it.
std::unique_ptr<ChunkSource> open_stream(FileHost& host, const SourceOptions& options);

}  // namespace qlip_tool
