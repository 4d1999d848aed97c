// What the engine knows of a file that isoFFopen made, behind the public record, whose layout is fixed.
#pragma once

#include "common/line_book.h"
#include "host/limited_callbacks.h"
#include "qlip/isoff.h"

namespace qlip {

// The moov payload that is being parsed: counts and sizes in it are claims on these bytes.
struct MoovWindow {
    unsigned char* start = nullptr;  // null: none
    int size = 0;
    long long absent = 0;  // bytes beyond the end that may still be claimed
};

class MediaOutput;

struct OpenFile : iso_file {
    MoovWindow moov;
    LineBook lines;                      // of a file without limits; those have a book of their own
    LimitedCallbacks* limits = nullptr;  // the record `io`, when it has limits
    bool owns_limits = false;
    MediaOutput* media_output = nullptr;  // while the media is being written
    int next_chunk = 0;                   // of the arena of a file for one stream: its bytes; of others 0
};

inline OpenFile* open_file(iso_file* file) {
    return file->from_open ? static_cast<OpenFile*>(file) : nullptr;
}

// A file that a session has to itself: its arena begins small, and nothing stays in memory but tables.
inline bool is_for_one_stream(iso_file* file) {
    const OpenFile* own = open_file(file);
    return own && own->next_chunk != 0;
}

inline LimitedCallbacks* limits_of(iso_file* file) {
    const OpenFile* own = open_file(file);
    return own ? own->limits : nullptr;
}

}  // namespace qlip
