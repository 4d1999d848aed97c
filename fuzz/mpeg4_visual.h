// An esds box of another object type ends the process, on purpose; this makes every one that a file may hold
// MPEG-4 visual, so that a fuzzer goes on.
#pragma once

#include <cstddef>
#include <cstring>
#include <vector>

namespace qlip_fuzz {

// Descriptor sizes take one to four bytes.
inline size_t behind_size(const std::vector<unsigned char>& file, size_t at) {
    for (int i = 0; i < 4 && at < file.size(); ++i) {
        if (file[at++] < 128) break;
    }
    return at;
}

inline void make_mpeg4_visual(std::vector<unsigned char>& file) {
    constexpr size_t kEntryToSize = 82 + 13;  // from the entry's type to the size of the ES descriptor
    constexpr size_t kSizeToSize = 4;
    for (size_t at = 0; at + 4 <= file.size(); ++at) {
        if (std::memcmp(file.data() + at, "mp4v", 4) != 0) continue;
        const size_t object_type = behind_size(file, behind_size(file, at + kEntryToSize) + kSizeToSize);
        if (object_type < file.size()) {
            file[object_type] = 0x20;
        } else {
            file[at] = 'x';
        }
    }
}

}  // namespace qlip_fuzz
