#include "stream/box_source.h"

#include <fmt/format.h>

#include "host/tool_error.h"
#include "movie/track_facts.h"

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

BoxSource::BoxSource(FileHost& host, Growth growth, std::string mode, bool indexed)
    : host_(host),
      growth_(growth),
      mode_(std::move(mode)),
      indexed_(indexed),
      reader_(kLargestFrame),
      piece_(kPieceSize) {
    if (growth_.follows() && !growth_.wait_for_structure()) {
        throw ToolError(Exit::incomplete, host_.path() + ": the file's structure has not arrived in time",
                        "a longer --patience");
    }
    if (mode_.empty()) mode_ = choose_mode(host_);
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

void BoxSource::fail(const char* doing, unsigned int status) const {
    host_.throw_if_unreadable();
    const std::string what = fmt::format("{} {} with --engine box (status {}: {})", doing, host_.path(),
                                         status, box_status_text(status));
    if (status == QLIP_NOT_AVAILABLE_YET) {
        throw ToolError(Exit::incomplete, what, "--follow, if the file is still being written");
    }
    std::string advice = "qlip info " + host_.path() + ", to see what the file holds";
    if (status == QLIP_HINT_TRACK_REQUIRED || status == QLIP_UNKNOWN_CODER ||
        status == QLIP_TOO_MANY_TRACKS) {
        advice = "--engine c, which needs no hint tracks and knows all codecs";
    }
    if (status == QLIP_BAD_TIMESTAMP) advice = "a time inside the track";
    throw ToolError(Exit::bad_input, what, advice);
}

}  // namespace qlip_tool
