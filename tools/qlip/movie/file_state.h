// How much of a 3GP file is there: where its structure (the moov box) stands, whether it is whole, and how
// much of the media that it names is missing.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "movie/movie.h"

namespace qlip_tool {

// The boxes of the top level (ISO/IEC 14496-12 4.2).
struct TopLevel {
    struct Moov {
        uint64_t offset;
        uint64_t size;  // as it says
    };
    std::optional<Moov> moov;
    bool has_media = false;       // an mdat box
    bool media_in_front = false;  // one that stands ahead of moov
    uint64_t end = 0;  // of the last box, as it says: behind the end of a file that is cut; or kOpenEnd
};

// Of boxes that say no end.
inline constexpr uint64_t kOpenEnd = std::numeric_limits<uint64_t>::max();

TopLevel read_top_level(FileHost& host);

struct FileState {
    enum class Moov { Missing, Front, Behind };

    Moov moov = Moov::Missing;
    uint64_t moov_size = 0;           // as it says
    uint64_t moov_there = 0;          // bytes of it in the file
    std::string moov_fault;           // a box inside that does not fit, or empty
    std::optional<uint64_t> missing;  // bytes of media behind the end of the file, if that can be told
    std::string damage;               // a track that claims more than the file can hold, or empty

    bool found() const { return moov != Moov::Missing; }
    bool moov_whole() const { return found() && moov_there == moov_size; }
    bool ends_early() const { return (found() && !moov_whole()) || missing.value_or(0) > 0; }
};

FileState file_state(FileHost& host, const Movie& movie);

// "moov in front, whole; media complete".
std::string state_text(const FileState& state);

// Bytes of all samples.
uint64_t bytes_of(const iso_track& track);

// Why a track cannot be what it says, or empty: it claims more samples, or more bytes of them, than the file
// can hold.
std::string claims_too_much(FileHost& host, const iso_track& track);

// Throws ToolError for a structure that is cut or damaged, which only leaves a part of its tracks to see.
void throw_unless_structure_is_whole(FileHost& host, const FileState& state);

// The same, and for media that is missing.
void throw_unless_whole(FileHost& host, const FileState& state);

}  // namespace qlip_tool
