#include "stream/kit_track.h"

#include <fmt/format.h>

#include <array>
#include <cstdio>

#include "host/tool_error.h"

namespace qlip_tool {
namespace {

constexpr const char* kSenderName = "qlip@localhost";  // the same for all tracks: RFC 3550 6.5.1

bool is_absent(int status) {
    return status == QLIP_NO_SUCH_TRACK || status == QLIP_UNKNOWN_CODER;
}

}  // namespace

KitSource kit_source(FileHost& host, bool growing) {
    qlip_source_functions functions = QLIP_SOURCE_FUNCTIONS_INIT;
    functions.read_at = [](void* user, void* to, size_t size, uint64_t offset) -> int64_t {
        FileHost& from = *static_cast<FileHost*>(user);
        const size_t got = from.read_at(offset, to, size);
        return from.unreadable() ? int64_t{QLIP_READ_FAILED} : static_cast<int64_t>(got);
    };
    functions.size = [](void* user) { return static_cast<FileHost*>(user)->size(); };
    qlip_limits limits = QLIP_LIMITS_INIT;
    limits.line = [](int, const char* text, void*) { std::puts(text); };  // where --diagnostics looks for it
    qlip_source* source = nullptr;
    if (qlip_source_custom(&source, &functions, &host) != QLIP_SUCCESS)
        throw ToolError(Exit::io, "no memory to read " + host.path());
    qlip_source_set_limits(source, &limits);
    qlip_source_set_growing(source, growing ? 1 : 0);
    return KitSource(source);
}

KitTrack::KitTrack(FileHost& host, Growth growth, const TrackOptions& options)
    : host_(host),
      growth_(growth),
      source_(kit_source(host, growth.follows())),
      pieces_(options.as_stream ? "chunks" : "frames") {
    std::string reason;
    int status = QLIP_SUCCESS;
    do {
        status = open(options.mode == "ra" ? QLIP_AUDIO : QLIP_VIDEO, options, reason);
        if (is_absent(status) && options.mode.empty()) status = open(QLIP_AUDIO, options, reason);
    } while (status == QLIP_NOT_AVAILABLE_YET && growth_.wait());
    if (status != QLIP_SUCCESS) refuse(options, status, reason);
    host_.count_from_here();
}

int KitTrack::open(qlip_medium medium, const TrackOptions& options, std::string& reason) {
    std::array<char, 256> text = {};
    qlip_stream_options wanted = QLIP_STREAM_OPTIONS_INIT;
    wanted.ssrc = options.ssrc;
    wanted.payload_type = static_cast<uint8_t>(options.payload_type);
    wanted.keep_no_data = options.keep_no_data ? 1 : 0;
    wanted.chunks = options.as_stream ? 1 : 0;
    wanted.error = text.data();
    wanted.error_size = text.size();
    qlip_stream* stream = nullptr;
    const int status = qlip_stream_open(&stream, source_.get(), medium, &wanted);
    stream_.reset(stream);
    reason = text.data();
    return status;
}

const qlip_frame* KitTrack::next_frame() {
    const qlip_frame* frame = nullptr;
    return read([&] { return qlip_stream_read(stream_.get(), &frame); }) ? frame : nullptr;
}

std::span<const unsigned char> KitTrack::next() {
    const void* chunk = nullptr;
    size_t size = 0;
    if (!read([&] { return qlip_stream_read_chunk(stream_.get(), &chunk, &size); })) return {};
    return {static_cast<const unsigned char*>(chunk), size};
}

template <class Read>
bool KitTrack::read(Read read) {
    int status = QLIP_SUCCESS;
    do {
        status = read();
    } while (status == QLIP_NOT_AVAILABLE_YET && growth_.wait());
    if (status == QLIP_END_OF_FILE) return false;
    if (status != QLIP_SUCCESS) fail(status);
    ++delivered_;
    return true;
}

int64_t KitTrack::seek(int64_t time) {
    int64_t landed = 0;
    const int status = qlip_stream_seek(stream_.get(), time, &landed);
    if (status != QLIP_SUCCESS && status != QLIP_END_OF_FILE) fail(status);
    return landed;
}

std::string KitTrack::media_section(unsigned int port) const {
    std::string text(static_cast<size_t>(qlip_stream_sdp(stream_.get(), port, nullptr, nullptr, 0)) + 1,
                     '\0');
    qlip_stream_sdp(stream_.get(), port, nullptr, text.data(), text.size());
    text.pop_back();
    return text;
}

std::vector<unsigned char> KitTrack::sender_report(uint64_t ntp, int64_t time) const {
    std::vector<unsigned char> report(QLIP_SENDER_REPORT_MAX);
    size_t size = report.size();
    qlip_stream_sender_report(stream_.get(), ntp, time, kSenderName, report.data(), &size);
    report.resize(size);
    return report;
}

// Whether the file ends before its structure or its media does.
bool KitTrack::is_cut() const {
    qlip_source_info state = QLIP_SOURCE_INFO_INIT;
    if (qlip_source_state(source_.get(), &state) != QLIP_SUCCESS) return false;
    return state.needed > state.size;
}

void KitTrack::refuse(const TrackOptions& options, int status, const std::string& reason) {
    host_.throw_if_unreadable();
    const bool later = status == QLIP_NOT_AVAILABLE_YET;
    std::string advice =
        later ? "a longer --patience" : "qlip info " + host_.path() + ", to see what it holds";
    std::string other;
    if (is_absent(status) && !options.mode.empty() &&
        open(options.mode == "ra" ? QLIP_VIDEO : QLIP_AUDIO, options, other) == QLIP_SUCCESS)
        advice = fmt::format("--mode {}: the file has such a track", options.mode == "ra" ? "rv" : "ra");
    throw ToolError(later || (status == QLIP_CORRUPT_FILE && is_cut()) ? Exit::incomplete : Exit::bad_input,
                    fmt::format("cannot open {}: {} (status {}: {})", host_.path(), reason, status,
                                qlip_StatusString(status)),
                    advice);
}

void KitTrack::fail(int status) const {
    host_.throw_if_unreadable();
    const bool later = status == QLIP_NOT_AVAILABLE_YET;
    const bool cut = later || (status == QLIP_CORRUPT_FILE && is_cut());
    std::string advice = "qlip info " + host_.path() + ", to see what the file holds";
    if (cut) advice = "--follow, if the file is still being written; else get a whole copy";
    if (later) advice = "a longer --patience";
    throw ToolError(cut ? Exit::incomplete : Exit::bad_input,
                    fmt::format("{} fails {} {} into the track: {} (status {}: {})", host_.path(), delivered_,
                                pieces_, qlip_stream_error(stream_.get()), status, qlip_StatusString(status)),
                    advice);
}

}  // namespace qlip_tool
