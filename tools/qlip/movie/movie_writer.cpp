#include "movie/movie_writer.h"

#include <fmt/format.h>

#include <filesystem>

#include "host/text.h"
#include "host/tool_error.h"
#include "movie/movie.h"

namespace qlip_tool {
namespace {

constexpr uint32_t kLibraryLimit = 0x7FFFFFFF;

FILE* create(const std::string& path, const std::string& not_onto) {
    std::error_code ignored;
    if (!not_onto.empty() && std::filesystem::equivalent(path, not_onto, ignored)) {
        throw ToolError(Exit::usage, path + " is the input: the output would destroy it",
                        "name another output file");
    }
    FILE* stream = std::fopen(path.c_str(), "wb+");
    if (!stream) throw io_error("cannot create " + path);
    return stream;
}

void set_brands(iso_file* file, std::string brands) {
    if (brands.empty() || isoFFsetBrand(file, brands.data(), static_cast<int>(file->minor_version)) == 0)
        return;
    throw ToolError(Exit::usage, fmt::format("'{}' is no list of brands", brands),
                    "brands of four characters, joined by single blanks: --brand '3gp6 isom'");
}

bool is_full(int result) {
    return result == ISO_WRITE_FILE_FULL || result == ISO_WRITE_TOO_LONG || result == ISO_WRITE_TRACK_CLOSED;
}

}  // namespace

void MovieOptions::add_to(CLI::App& command) {
    command.add_option("--brand", brands, "Brands of the file, joined by blanks; the first is the major one")
        ->type_name("BRANDS");
    command
        .add_option("--interleave", interleave_seconds,
                    "How long one track's data runs in the file before the next")
        ->type_name("SECONDS")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    command
        .add_option("--max-size", largest_file,
                    "Largest file; what does not fit is left out at the end of all tracks")
        ->type_name("BYTES")
        ->check(CLI::Range(1U, kLibraryLimit));
    command.add_flag("--direct", direct, "Write frames as they come, with the header behind them");
}

MovieWriter::MovieWriter(const std::string& path, const MovieOptions& options, int tracks,
                         const std::string& not_onto)
    : path_(path), stream_(create(path, not_onto)), limited_(options.largest_file < kLibraryLimit) {
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* no_input = nullptr;
    char mode[] = "w";
    file_ = isoFFopen(no_input, mode, nullptr);
    if (!file_) throw ToolError(Exit::io, "no memory to write " + path);
    file_->stream = stream_;
    file_->interleave_period = options.interleave_seconds;
    file_->max_file_size = options.largest_file;
    set_brands(file_, options.brands);
    if (!options.direct) return;
    file_->status_flags |= ISO_STATUS_DIRECT;
    file_->direct_tracks = tracks;
}

MovieWriter::~MovieWriter() {
    if (file_) isoFFclose(file_);
    if (stream_) std::fclose(stream_);
}

iso_track* MovieWriter::add_track() {
    iso_track* track = isoFFtrack(file_);
    if (!track) throw ToolError(Exit::io, "no memory to write " + path_);
    return track;
}

void MovieWriter::write(iso_track* track, std::span<const unsigned char> frame, int delta, int offset) {
    ++given_;
    auto* bytes = const_cast<unsigned char*>(frame.data());  // only read
    const int result = isoFFwrite(track, bytes, static_cast<int>(frame.size()), delta, offset);
    if (result >= 0 || is_full(result)) return;
    if (result == ISO_WRITE_NO_MEMORY) throw ToolError(Exit::io, "no memory to write " + path_, "--direct");
    throw io_error("cannot write " + path_);
}

void MovieWriter::finish() {
    isoFFclose(file_);
    file_ = nullptr;
    const bool closed = std::fclose(stream_) == 0;
    stream_ = nullptr;
    if (!closed) throw io_error("cannot write " + path_);
    const uint64_t kept = frames_in_the_file();
    if (kept == given_) return;
    if (!limited_) {
        throw ToolError(
            Exit::io,
            fmt::format("{} holds {} of {} frames: the rest could not be written", path_, kept, given_),
            "more room on that disk");
    }
    fmt::print(stderr, "qlip: {} holds {} of {} frames: the rest does not fit into --max-size\n", path_, kept,
               given_);
}

uint64_t MovieWriter::frames_in_the_file() const {
    FileHost host(path_);
    const Movie movie(host);
    uint64_t frames = 0;
    for (const iso_track* track : movie.tracks())
        frames += static_cast<uint64_t>(track->sample_count);
    return frames;
}

}  // namespace qlip_tool
