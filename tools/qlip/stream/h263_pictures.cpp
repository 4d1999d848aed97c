#include "stream/h263_pictures.h"

#include <fmt/format.h>
#include <algorithm>

#include <array>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string_view>

#include "host/stream_file.h"
#include "host/tool_error.h"
#include "movie/file_state.h"
#include "qlip/h263_isoff.h"
#include "qlip/h263_parse.h"

namespace qlip_tool {
namespace {

using Bytes = std::vector<unsigned char>;

constexpr double kTick = 1001.0 / 30000.0;  // of the temporal reference (ITU-T H.263 5.1.2)
constexpr size_t kLargestPicture = 1 << 24;

Bytes read_all(const std::string& path) {
    StreamFile file(path);
    Bytes bytes;
    for (auto piece = file.next(); !piece.empty(); piece = file.next()) {
        bytes.insert(bytes.end(), piece.begin(), piece.end());
    }
    return bytes;
}

bool is_3gp(const std::string& path) {
    if (path == "-" || !std::filesystem::is_regular_file(path)) return false;
    char head[8] = {};
    FileHost(path).read_at(0, head, sizeof head);
    return begins_like_3gp({head, sizeof head});
}

// Where pictures begin. Start codes of pictures stand on the byte grid.
std::vector<size_t> picture_starts(Bytes& stream) {
    constexpr unsigned long kStartCodeBits = 22;
    std::vector<size_t> starts;
    tbq_state_t state = {};
    tbq_pos_t at = {};
    int error = 0;
    while (true) {
        const tbq_boundary_t kind = tbq_boundary_next(&state, stream.data(), stream.size(), &at, &at, &error);
        if (error != 0 || kind == TBQ_BOUNDARY_NONE) return starts;
        if (kind == TBQ_BOUNDARY_PICTURE) starts.push_back(at.byte);
        tbq_pos_add(&at, &at, kStartCodeBits);
    }
}

unsigned int temporal_reference(const Bytes& picture) {
    constexpr unsigned long kStartCodeBits = 22;
    constexpr unsigned long kTrBits = 8;
    Bytes head(picture.begin(),
               picture.begin() + static_cast<ptrdiff_t>(std::min<size_t>(picture.size(), 4)));
    const tbq_pos_t start = {};
    tbq_pos_t at = {};
    int error = 0;
    tbq_bits_get(head.data(), head.size(), &start, &at, kStartCodeBits, &error);
    return static_cast<unsigned int>(tbq_bits_get(head.data(), head.size(), &at, &at, kTrBits, &error));
}

// Each picture lasts until the next one's temporal reference, which counts modulo 256; the last one as long
// as the one before it.
void time_by_temporal_reference(std::vector<H263Picture>& pictures) {
    for (size_t i = 0; i < pictures.size(); ++i) {
        const bool last = i + 1 == pictures.size();
        const unsigned int here = temporal_reference(pictures[i].data);
        const unsigned int next = last ? here : temporal_reference(pictures[i + 1].data);
        pictures[i].seconds = kTick * ((next - here) & 255U);
        if (last) pictures[i].seconds = i > 0 ? pictures[i - 1].seconds : kTick;
    }
}

std::vector<H263Picture> split_stream(const std::string& path) {
    Bytes stream = read_all(path);
    std::vector<size_t> starts = picture_starts(stream);
    std::vector<H263Picture> pictures;
    starts.push_back(stream.size());
    for (size_t i = 0; i + 1 < starts.size(); ++i) {
        pictures.push_back({starts[i], 0.0,
                            Bytes(stream.begin() + static_cast<ptrdiff_t>(starts[i]),
                                  stream.begin() + static_cast<ptrdiff_t>(starts[i + 1]))});
    }
    if (pictures.empty()) {
        throw ToolError(Exit::bad_input, path + " holds no H.263 picture start code",
                        "an H.263 elementary stream, or a 3GP file with an H.263 track");
    }
    time_by_temporal_reference(pictures);
    return pictures;
}

// The last one, as the library chooses.
iso_track* h263_track(const Movie& movie) {
    iso_track* found = nullptr;
    for (iso_track* track : movie.tracks()) {
        if (track->codec == ISO_CODEC_S263) found = track;
    }
    return found;
}

std::vector<H263Picture> read_track(const std::string& path) {
    FileHost host(path);
    const Movie movie(host);
    const FileState state = file_state(host, movie);
    iso_track* track = h263_track(movie);
    if (!track) {
        throw_unless_structure_is_whole(host, state);
        throw ToolError(Exit::bad_input, path + " has no H.263 track", "qlip info " + path);
    }
    if (const std::string damage = claims_too_much(host, *track); !damage.empty())
        throw ToolError(Exit::bad_input, path + ": " + damage);
    host.refuse_short_reads();
    std::vector<H263Picture> pictures;
    Bytes sample(kLargestSample);
    while (true) {
        const unsigned int offset = track->file_pos;
        double seconds = 0.0;
        const int size = isoFFread(track, sample.data(), static_cast<int>(sample.size()), &seconds, nullptr);
        if (size < 0) break;
        pictures.push_back({offset, seconds, Bytes(sample.begin(), sample.begin() + size)});
    }
    host.throw_if_unreadable();
    throw_unless_structure_is_whole(host, state);
    if (track->sample < track->sample_count) {
        throw_unless_whole(host, state);
        throw ToolError(Exit::bad_input, path + ": a sample of its H.263 track cannot be read",
                        "qlip info " + path);
    }
    return pictures;
}

}  // namespace

const H263Format& h263_format(unsigned int source_format) {
    static constexpr std::array<H263Format, 8> kFormats = {{{"unknown", 0},
                                                            {"sub-QCIF", 48},
                                                            {"QCIF", 99},
                                                            {"CIF", 396},
                                                            {"4CIF", 1584},
                                                            {"16CIF", 6336},
                                                            {"custom", 0},
                                                            {"extended", 0}}};
    return kFormats[source_format & 7U];
}

const H263Format& h263_format(H263Picture& picture) {
    tbq_state_t state = {};
    tbq_pos_t at = {};
    get_start_of_mb(&state, picture.data.data(), static_cast<int>(picture.data.size()), &at, &at);
    return h263_format(state.picture.source_format);
}

std::vector<H263Picture> load_h263(const std::string& path) {
    std::vector<H263Picture> pictures = is_3gp(path) ? read_track(path) : split_stream(path);
    for (const H263Picture& picture : pictures) {
        if (picture.data.size() <= kLargestPicture) continue;
        throw ToolError(Exit::bad_input,
                        fmt::format("{}: the picture at byte {} has {} bytes, more than any picture can",
                                    path, picture.offset, picture.data.size()));
    }
    return pictures;
}

}  // namespace qlip_tool
