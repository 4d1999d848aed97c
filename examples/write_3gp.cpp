// write_3gp FILE.amr OUT.3gp: puts the speech frames of an AMR file (RFC 4867 5) into a 3GP file, as they
// come, and the file's structure behind them.
#include <qlip/amr_isoff.h>
#include <qlip/isoff.h>

#include <array>
#include <cstdio>
#include <cstring>

namespace {

constexpr char kMagic[] = "#!AMR\n";
constexpr int kFrameTicks = 160;  // 20 ms

iso_track* add_speech_track(iso_file* file) {
    iso_track* track = isoFFtrack(file);
    if (!track) return nullptr;
    track->codec = ISO_CODEC_SAMR;
    std::strcpy(track->handler, "soun");
    std::strcpy(track->vendor, "    ");
    track->timescale = 8000;
    track->default_delta = kFrameTicks;
    track->mode_set = 0x81FF;  // any mode
    track->frames_per_sample = 1;
    return track;
}

// Returns the number of frames, or -1 when the output failed. A frame that is cut short ends the input.
int copy_frames(std::FILE* in, iso_track* track) {
    std::array<unsigned char, 64> frame{};
    int frames = 0;
    while (std::fread(frame.data(), 1, 1, in) == 1) {
        const int size = amr_get_size(frame.data(), AMR_FORMAT_STORAGE);
        const auto rest = static_cast<size_t>(size - 1);
        if (std::fread(frame.data() + 1, 1, rest, in) != rest) break;
        if (isoFFwrite(track, frame.data(), size, kFrameTicks, 0) != size) return -1;
        ++frames;
    }
    return frames;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    std::FILE* in = std::fopen(argv[1], "rb");
    std::FILE* out = std::fopen(argv[2], "wb");
    char magic[sizeof kMagic] = {};
    if (!in || !out || std::fread(magic, 1, sizeof kMagic - 1, in) != sizeof kMagic - 1 ||
        std::strcmp(magic, kMagic) != 0)
        return 2;

    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* no_input = nullptr;
    char mode[] = "w";
    iso_file* file = isoFFopen(no_input, mode, nullptr);
    if (!file) return 1;
    file->stream = out;
    file->status_flags |= ISO_STATUS_DIRECT;
    file->direct_tracks = 1;
    iso_track* track = add_speech_track(file);
    const int frames = track ? copy_frames(in, track) : -1;
    const bool failed = frames < 0 || (file->status_flags & ISO_STATUS_WRITE_FAILED) != 0;
    isoFFclose(file);
    std::fclose(in);
    if (std::fclose(out) != 0 || failed) return 1;
    std::printf("%d frames\n", frames);
    return 0;
}
