#include "movie/movie_writer.h"

#include <fmt/format.h>

#include <fcntl.h>

#include "host/checks.h"
#include "host/message.h"
#include "host/text.h"
#include "host/tool_error.h"
#include "movie/movie.h"

namespace qlip_tool {
namespace {

constexpr uint32_t kLibraryLimit = 0x7FFFFFFF;
constexpr size_t kPiece = 1 << 16;

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
        ->check(above_zero())
        ->capture_default_str();
    command
        .add_option("--max-size", largest_file,
                    "Largest file; what does not fit is left out at the end of all tracks")
        ->type_name("BYTES")
        ->check(CLI::Range(1U, kLibraryLimit));
    command.add_flag("--direct", direct, "Write frames as they come, with the header behind them");
}

MovieWriter::MovieWriter(const std::string& path, const MovieOptions& options, int tracks,
                         const std::vector<std::string>& inputs)
    : path_(path), options_(options) {
    create(inputs);
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* no_input = nullptr;
    char mode[] = "w";
    file_.reset(isoFFopen(no_input, mode, nullptr));
    if (!file_) throw ToolError(Exit::io, "no memory to write " + path);
    file_->stream = stream_.get();
    file_->interleave_period = options.interleave_seconds;
    file_->max_file_size = options.largest_file;
    set_brands(file_.get(), options.brands);
    if (!options.direct) return;
    file_->status_flags |= ISO_STATUS_DIRECT;
    file_->direct_tracks = tracks;
}

// The writer goes back in its file, which a pipe cannot.
void MovieWriter::create(const std::vector<std::string>& inputs) {
    if (is_written_directly(path_)) {
        direct_.emplace(path_, inputs);
        direct_->refuse_terminal("a 3GP file", "a file name in place of " + path_ + ", or a pipe");
        stream_.reset(std::tmpfile());
    } else {
        refuse_to_overwrite(path_, inputs);
        whole_.emplace(path_, Interrupted::Discards);
        stream_.reset(fdopen(fcntl(whole_->fd(), F_DUPFD_CLOEXEC, 3), "wb+"));
    }
    if (!stream_) throw io_error("cannot create " + path_);
}

iso_track* MovieWriter::add_track() {
    iso_track* track = isoFFtrack(file_.get());
    if (!track) throw ToolError(Exit::io, "no memory to write " + path_);
    return track;
}

void MovieWriter::write(iso_track* track, std::span<const unsigned char> frame, int delta, int offset) {
    ++given_;
    auto* bytes = const_cast<unsigned char*>(frame.data());  // only read
    const int result = isoFFwrite(track, bytes, static_cast<int>(frame.size()), delta, offset);
    if (result >= 0 || is_full(result)) return;
    if (result == ISO_WRITE_NO_MEMORY) {
        throw ToolError(Exit::io, "no memory to write " + path_,
                        options_.direct ? "" : "--direct, which keeps no frames in memory");
    }
    throw io_error("cannot write " + path_);
}

void MovieWriter::finish() {
    file_.reset();
    if (std::fflush(stream_.get()) != 0 || std::ferror(stream_.get()) != 0)
        throw io_error("cannot write " + path_);
    const uint64_t kept = frames_in_the_file();
    check(kept);
    hand_over();
    if (kept == given_) return;
    say("qlip: {} holds {} of {} frames: the rest does not fit into --max-size\n", path_, kept, given_);
}

void MovieWriter::check(uint64_t kept) const {
    const bool limited = options_.largest_file < kLibraryLimit;
    if (given_ == 0) throw ToolError(Exit::bad_input, "there is no frame to write into " + path_);
    if (kept < given_ && !limited) {
        throw ToolError(
            Exit::io,
            fmt::format("cannot write {}: only {} of {} frames could be written", path_, kept, given_),
            "more room on that disk");
    }
    if (kept == 0) {
        throw ToolError(Exit::usage,
                        fmt::format("not one frame fits into {} bytes (--max-size)", options_.largest_file),
                        "a larger --max-size");
    }
}

void MovieWriter::hand_over() {
    if (whole_) return whole_->put_in_place();
    std::rewind(stream_.get());
    std::vector<unsigned char> piece(kPiece);
    while (const size_t got = std::fread(piece.data(), 1, piece.size(), stream_.get()))
        direct_->write(std::span(piece.data(), got));
    if (std::ferror(stream_.get()) != 0) throw io_error("cannot read what goes to " + path_);
    direct_->finish();
}

uint64_t MovieWriter::frames_in_the_file() const {
    FileHost host(fmt::format("/proc/self/fd/{}", fileno(stream_.get())));
    const Movie movie(host);
    uint64_t frames = 0;
    for (const iso_track* track : movie.tracks())
        frames += static_cast<uint64_t>(track->sample_count);
    return frames;
}

}  // namespace qlip_tool
