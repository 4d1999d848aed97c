#include "tools/serve/played_file.h"

#include <sys/stat.h>

#include <ctime>

#include "tools/serve/file_limits.h"

namespace qlip::serve {
namespace {

constexpr time_t kStillGrowing = 10;  // seconds since the last change

class Source {
  public:
    explicit Source(const std::string& path) : status(qlip_source_path(&handle, path.c_str())) {
        const qlip_limits limits = file_limits();
        if (status == QLIP_SUCCESS) qlip_source_set_limits(handle, &limits);
    }
    ~Source() { qlip_source_close(&handle); }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    qlip_source* handle = nullptr;
    const int status;
};

bool changed_lately(const std::string& path) {
    struct stat facts = {};
    return stat(path.c_str(), &facts) == 0 && std::time(nullptr) - facts.st_mtime < kStillGrowing;
}

bool is_growing(const Source& source, const std::string& path) {
    qlip_source_info state = QLIP_SOURCE_INFO_INIT;
    if (qlip_source_state(source.handle, &state) != QLIP_SUCCESS) return false;
    return !state.complete && changed_lately(path);
}

int read_first_frame(qlip_source* source, qlip_medium medium, std::string& reason) {
    char text[256] = "";
    qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT;
    options.error = text;
    options.error_size = sizeof text;
    qlip_stream* stream = nullptr;
    const qlip_frame* frame = nullptr;
    int status = qlip_stream_open(&stream, source, medium, &options);
    if (status == QLIP_SUCCESS) {
        status = qlip_stream_read(stream, &frame);
        reason = qlip_stream_error(stream);
    } else if (status != QLIP_NO_SUCH_TRACK) {
        reason = text;
    }
    qlip_stream_close(&stream);
    return status;
}

}  // namespace

PlayedFile look_at(const std::string& path) {
    PlayedFile file;
    const Source source(path);
    if (source.status != QLIP_SUCCESS) {
        file.reason = "it cannot be read";
        return file;
    }
    file.growing = is_growing(source, path);
    qlip_source_set_growing(source.handle, file.growing);
    bool waits = false;
    for (const qlip_medium medium : {QLIP_VIDEO, QLIP_AUDIO}) {
        const int status = read_first_frame(source.handle, medium, file.reason);
        if (status == QLIP_SUCCESS) file.tracks.push_back(medium);
        waits = waits || status == QLIP_NOT_AVAILABLE_YET;
    }
    if (waits)
        file.playable = Playable::not_yet;
    else if (!file.tracks.empty())
        file.playable = Playable::now;
    else if (file.reason.empty())
        file.reason = "it has neither sound nor picture";
    return file;
}

bool is_growing(const std::string& path) {
    const Source source(path);
    return source.status == QLIP_SUCCESS && is_growing(source, path);
}

}  // namespace qlip::serve
