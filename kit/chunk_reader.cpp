#include "kit/chunk_reader.h"

#include <algorithm>

namespace qlip::kit {
namespace {

// A file's byte becomes at most so many of the native stream: an AMR frame that holds nothing has one, and 26
// there.
constexpr uint64_t kMostExpansion = 64;
constexpr uint64_t kSlack = 4096;

}  // namespace

int ChunkReader::open(const Structure& structure, qlip_medium medium, uint32_t pictures, uint64_t bytes) {
    io_.stand_before(structure);
    pictures_ = pictures;
    bytes_ = bytes;
    chunk_.reset(new unsigned char[QLIP_LARGEST_CHUNK]());
    const int status =
        qlip_OpenLimited(&session_, io_.record(), medium == QLIP_AUDIO ? "ra" : "rv", &source_.limits());
    return status == QLIP_SUCCESS ? status : failure(status);
}

int ChunkReader::next(FrameReader* ahead, Draft& draft, const void** chunk, size_t* size) {
    const bool picture = length_.fetches_picture();
    if (ahead && picture && !seen_ahead_ && (length_.is_first_picture() || source_.growing())) {
        if (const int status = look_ahead(*ahead, draft); status != QLIP_SUCCESS) return status;
    }
    if (delivered_ > kMostExpansion * source_.size() + kSlack)
        return trouble_.tell(QLIP_CORRUPT_FILE, "the track claims more than its file holds");
    io_.forget_refusal();
    unsigned int unused = 0;
    const int status = qlip_ReadChunk(session_, chunk_.get(), &unused, true);
    if (status != QLIP_SUCCESS) return failure(status);
    seen_ahead_ = seen_ahead_ && !picture;
    pictures_read_ += picture ? 1 : 0;
    const size_t length = std::min<size_t>(length_.of(chunk_.get()), QLIP_LARGEST_CHUNK);
    delivered_ += length;
    if (length_.speech() > bytes_) {
        return trouble_.tell(QLIP_CORRUPT_FILE,
                             "the track's speech frames do not fit its samples: they would come to more than "
                             "the %llu bytes that it has",
                             static_cast<unsigned long long>(bytes_));
    }
    *chunk = chunk_.get();
    *size = length;
    return QLIP_SUCCESS;
}

// Only what is not there holds the session back; what is wrong with a picture it finds out itself.
int ChunkReader::look_ahead(FrameReader& ahead, Draft& draft) {
    draft.packets.clear();
    const int status = ahead.next(draft);
    const bool stops = status == QLIP_NOT_AVAILABLE_YET || status == QLIP_IO_CALLBACK_FAILED;
    seen_ahead_ = !stops;
    return stops ? status : QLIP_SUCCESS;
}

int ChunkReader::failure(int status) {
    if (status == QLIP_END_OF_FILE) return end_of_session();
    const auto needed = static_cast<unsigned long long>(io_.needed());
    switch (io_.refusal()) {
        case QLIP_SUCCESS:
            return trouble_.tell(status, "libqlip: %s", qlip_StatusString(status));
        case QLIP_NOT_AVAILABLE_YET:
            return trouble_.tell(io_.refusal(),
                                 "the next data is not there yet: the file must reach %llu bytes", needed);
        case QLIP_IO_CALLBACK_FAILED:
            return trouble_.tell(io_.refusal(), "the source could not be read in front of byte %llu", needed);
        default:
            return trouble_.tell(QLIP_CORRUPT_FILE, "the file is cut: the next data reaches to byte %llu",
                                 needed);
    }
}

// A session takes a sample that it has no room for as the end.
int ChunkReader::end_of_session() {
    if (pictures_read_ >= pictures_) return QLIP_END_OF_FILE;
    return trouble_.tell(QLIP_CORRUPT_FILE, "libqlip ended after %u of %u pictures", pictures_read_,
                         pictures_);
}

}  // namespace qlip::kit
