#include "iso/write/writer_output.h"

#include <algorithm>
#include <array>

#include "iso/model/arena.h"
#include "iso/write/box_writer.h"

namespace qlip {

namespace {

constexpr std::array<unsigned char, 8> kFreeToTheEnd = {0, 0, 0, 0, 'f', 'r', 'e', 'e'};

}  // namespace

unsigned char* make_header(iso_file* file, int counted, unsigned int media_length, int* size) {
    int capacity = counted;
    for (const iso_track* track = file->tracks; track; track = track->next)
        capacity += uncounted_bytes(track);
    auto* header = static_cast<unsigned char*>(arena_take(file, capacity));
    if (header) *size = w_header(1, file, header, media_length);
    return header;
}

bool put_out(iso_file* file, const void* data, int size) {
    if (size <= 0) return true;
    // A file belongs to one thread at a time, and its streams with it.
    if (fwrite_unlocked(data, 1, static_cast<size_t>(size), output(file)) == static_cast<size_t>(size))
        return true;
    set_failed(file);
    return false;
}

bool move_to(iso_file* file, long offset, int whence) {
    if (fseek(output(file), offset, whence) == 0) return true;
    set_failed(file);
    return false;
}

bool flush_output(iso_file* file) {
    if (fflush(output(file)) == 0) return true;
    set_failed(file);
    return false;
}

long recover_output(iso_file* file) {
    FILE* out = output(file);
    fflush(out);
    clearerr(out);
    return ftell(out);
}

int64_t excess(const iso_file* file, int64_t end) {
    return std::max<int64_t>(end - int64_t{file->max_file_size}, 0);
}

void disown(iso_file* file) {
    if (recover_output(file) < 0) return;
    if (move_to(file, 0, SEEK_SET)) put_out(file, kFreeToTheEnd.data(), kFreeToTheEnd.size());
    fflush(output(file));
}

}  // namespace qlip
