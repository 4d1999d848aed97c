#include "kit/mpeg4_configuration.h"

#include <algorithm>
#include <cstring>

#include "formats/mpeg4_visual.h"

namespace qlip::kit {
namespace {

constexpr size_t kCodeSize = kMpeg4StartCodeBytes;
constexpr size_t kUsualCapacity = 350;  // what a configuration record of the native stream holds
constexpr size_t kLargestCapacity = 64 * 1024;

using Bytes = std::span<const unsigned char>;

// The next start code 00 00 01 XX at or behind `from` that has a byte behind it, or the size.
size_t next_start_code(Bytes data, size_t from) {
    while (from + kCodeSize < data.size()) {
        const auto* one = static_cast<const unsigned char*>(
            std::memchr(data.data() + from + 2, 1, data.size() - from - kCodeSize));
        if (!one) break;
        const auto at = static_cast<size_t>(one - data.data()) - 2;
        if (data[at] == 0 && data[at + 1] == 0) return at;
        from = at + 1;
    }
    return data.size();
}

}  // namespace

Mpeg4Configuration::Mpeg4Configuration(const iso_track* track) {
    if (track->codec != ISO_CODEC_MP4V) return;
    const size_t size = track->dsi ? static_cast<size_t>(std::max(track->dsi_size, 0)) : 0;
    bytes_.reserve(std::max(size, kUsualCapacity));
    if (size <= kLargestCapacity) bytes_.assign(track->dsi, track->dsi + size);
}

Bytes Mpeg4Configuration::in_front_of(Bytes picture) {
    size_t sequence = picture.size();
    for (size_t at = next_start_code(picture, 0); at < picture.size();
         at = next_start_code(picture, at + 3)) {
        if (picture[at + 3] == kMpeg4SequenceCode && sequence == picture.size()) sequence = at;
        if (picture[at + 3] != kMpeg4VopCode) continue;
        if (picture[at + kCodeSize] >= kMpeg4IntraBelow) return {};
        if (sequence == picture.size()) return bytes_;
        const Bytes own = picture.subspan(sequence, at - sequence);
        if (own.size() <= bytes_.capacity()) bytes_.assign(own.begin(), own.end());
        return {};
    }
    return {};
}

}  // namespace qlip::kit
