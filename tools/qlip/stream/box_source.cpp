#include "stream/box_source.h"

#include <fmt/format.h>

#include "host/tool_error.h"
#include "stream/kit_track.h"

namespace qlip_tool {

namespace {
constexpr size_t kPieceSize = 1 << 14;
constexpr unsigned int kLargestFrame = 1 << 20;
}  // namespace

std::string box_status_text(unsigned int status) {
    switch (status) {
        case QLIP_DIVISION_REFUSED:
            return "A table or clock of the track holds a zero";
        case QLIP_INDEX_REFUSED:
            return "A table names a sample that is not there";
        case QLIP_NO_OFFSET:
            return "The sample has no place in the file";
        default:
            return qlip_StatusString(static_cast<int>(status));
    }
}

BoxSource::BoxSource(FileHost& host, Growth growth, const std::string& mode, bool indexed, Command command)
    : host_(host),
      growth_(growth),
      mode_(KitTrack(host, growth_, {.mode = mode}).mode()),
      indexed_(indexed),
      command_(command),
      reader_(kLargestFrame),
      piece_(kPieceSize) {
    open();
}

BoxSource::~BoxSource() {
    reader_.Close();
}

void BoxSource::open() {
    auto* io = host_.record();
    host_.start_over();
    const unsigned int status = reader_.Open(io, mode_.c_str());
    host_.refuse_short_reads();
    if (status != QLIP_SUCCESS) fail("cannot open", status);
}

_TAG_QLIP_SEEK_PARAMS BoxSource::seek(unsigned int milliseconds, unsigned int flag) {
    _TAG_QLIP_SEEK_PARAMS result = {};
    const unsigned int status = try_seek(milliseconds, flag, result);
    if (status != QLIP_SUCCESS) fail(fmt::format("cannot seek to {} ms in", milliseconds).c_str(), status);
    return result;
}

unsigned int BoxSource::try_seek(unsigned int milliseconds, unsigned int flag,
                                 _TAG_QLIP_SEEK_PARAMS& result) {
    _TAG_QLIP_SEEK_PARAMS params = {0, milliseconds, 0, 0, QLIP_SEEK_FROM_START | flag};
    const unsigned int status = reader_.SeekTo(&params);
    if (status == QLIP_SUCCESS) result = params;
    return status;
}

std::span<const unsigned char> BoxSource::next() {
    while (!ended_) {
        auto size = static_cast<unsigned int>(piece_.size());
        const unsigned int status = reader_.ReadChunk(piece_.data(), &size, indexed_);
        ended_ = status == QLIP_END_OF_FILE;
        const bool later = status == QLIP_NOT_AVAILABLE_YET;
        if (status != QLIP_SUCCESS && !ended_ && !later) fail("cannot read on in", status);
        if (size > 0) return {piece_.data(), size};
        if (later && (host_.unreadable() || !growth_.wait())) fail("cannot read on in", status);
    }
    return {};
}

std::string BoxSource::advice_on(unsigned int status) const {
    const bool streams = command_ == Command::Streams;
    switch (status) {
        case QLIP_NOT_AVAILABLE_YET:
            return streams && !growth_.follows() ? "--follow, if the file is still being written" : "";
        case QLIP_BAD_TIMESTAMP:
            return "a time inside the track";
        case QLIP_HINT_TRACK_REQUIRED:
        case QLIP_UNKNOWN_CODER:
        case QLIP_TOO_MANY_TRACKS:
            if (streams) return "--engine c, which needs no hint tracks and knows all codecs";
            [[fallthrough]];
        default:
            return "qlip info " + host_.path() + ", to see what the file holds";
    }
}

void BoxSource::fail(const char* doing, unsigned int status) const {
    host_.throw_if_unreadable();
    const std::string reader = command_ == Command::Streams ? " with --engine box" : "";
    const bool later = status == QLIP_NOT_AVAILABLE_YET;
    throw ToolError(
        later ? Exit::incomplete : Exit::bad_input,
        fmt::format("{} {}{} (status {}: {})", doing, host_.path(), reader, status, box_status_text(status)),
        advice_on(status));
}

}  // namespace qlip_tool
