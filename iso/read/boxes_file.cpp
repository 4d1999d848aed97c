// Boxes of the top level, which are read from the host's stream.
#include <algorithm>
#include <cstring>

#include "host/host_calls.h"
#include "iso/model/arena.h"
#include "iso/model/open_file.h"
#include "iso/read/box_handlers.h"
#include "iso/read/box_tables.h"
#include "iso/read/payload.h"
#include "iso/read/scratch_memory.h"
#include "iso/read/stream_input.h"

using namespace qlip;

namespace {

constexpr int kBrandLength = 4;
constexpr int kBrandsLimit = 64 * 1024;  // no honest file names more compatible brands

// True if the stream holds `size` bytes from its position on, which stays.
bool stream_reaches(iso_file* file, int size) {
    unsigned int start = 0;
    if (qliputil_getoffset(file->io, &start) != 0) return false;
    const unsigned int last = start + static_cast<unsigned int>(size) - 1;
    unsigned char byte = 0;
    unsigned int count = 1;
    const bool reached = qliputil_seek(file->io, static_cast<int>(last)) == 0 &&
                         qliputil_seeknread(file->io, &byte, &count) == 0 && count == 1;
    return qliputil_seek(file->io, static_cast<int>(start)) == 0 && reached;
}

// The bytes of a payload that may be taken at once: all, unless it is both very large and a lie.
int credible(iso_file* file, int size) {
    if (size <= kTrustedPayload || stream_reaches(file, size)) return size;
    return kTrustedPayload;
}

// Brands of four bytes, joined by blanks. A payload of fewer than eight bytes leaves no room for them.
int read_brands(iso_file* file, int rest) {
    const int count = rest / kBrandLength;
    if (file->compatible_brands) isoFFfree(file->compatible_brands);
    file->compatible_brands = nullptr;
    if (rest < 0 || rest > kBrandsLimit) return kRefuse;
    auto* text = static_cast<char*>(isoFFmalloc(file, count * (kBrandLength + 1)));
    if (!text) return kRefuse;
    file->compatible_brands = text;
    for (int i = 0; i < count; ++i, text += kBrandLength + 1) {
        getID(file, text);
        text[kBrandLength] = i + 1 < count ? ' ' : '\0';
    }
    skip(file, rest % kBrandLength);
    return kGoOn;
}

// A media box ahead of moov is read with one call, if it is not longer than the stream. Memory that is scarce
// is for tables.
bool takes_image(iso_file* file, int size) {
    const LimitedCallbacks* limits = limits_of(file);
    if (limits && limits->bounds_memory()) return false;
    return !file->seek_fn && size >= 0 && credible(file, size) == size;
}

int pass_by(iso_file* file, int size) {
    skip(file, size);
    return kGoOn;
}

int read_image(iso_file* file, unsigned char* image, int size) {
    auto count = static_cast<unsigned int>(size);
    if (qliputil_seeknread(file->io, image, &count) != 0) return kRefuse;
    file->mdat_end = file->mdat_start + static_cast<unsigned int>(size);
    return kGoOn;
}

}  // namespace

int P_ftyp(iso_file* file, int size) {
    getID(file, file->major_brand);
    file->minor_version = read_u32(file);
    return read_brands(file, size < kBrandLength * 2 ? -1 : size - kBrandLength * 2);
}

// What a short read did not deliver does not count as buffer, so that it ends in the line that tells so.
int P_moov(iso_file* file, int size) {
    const int wanted = credible(file, size);
    auto* buffer = static_cast<unsigned char*>(arena_take(file, wanted));
    if (!buffer) return kRefuse;
    auto count = static_cast<unsigned int>(wanted);
    if (qliputil_seeknread(file->io, buffer, &count) != 0) count = 0;
    const auto left = static_cast<int>(count);
    OpenFile* own = open_file(file);
    if (own) own->moov = {buffer, left, left};
    file->buffer_next = buffer;
    file->buffer_left = left;
    file->in_buffer = 1;
    const int result = parse(file, moov_box, size);
    if (own) own->moov = {};
    return result;
}

// Behind moov, the media data ends the parse. Ahead of it, it stays in memory, though samples are always
// read through the callbacks; a file for one stream lets it go at once.
int P_mdat(iso_file* file, int size) {
    file->mdat_start = file->position;
    if (file->current_track) return kStopWell;
    if (size == 0) return kGoOn;
    if (!takes_image(file, size)) return pass_by(file, size);
    if (is_for_one_stream(file)) {
        const ScratchMemory scratch(static_cast<size_t>(size));
        return scratch.data() ? read_image(file, scratch.data(), size) : pass_by(file, size);
    }
    auto* image = static_cast<unsigned char*>(isoFFmalloc(file, size));
    if (!image) return pass_by(file, size);
    file->mdat_image = image;
    return read_image(file, image, size);
}
