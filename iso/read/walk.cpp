#include "iso/read/walk.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "host/host_calls.h"
#include "iso/model/open_file.h"
#include "iso/read/box_tables.h"
#include "iso/read/stream_input.h"

using namespace qlip;

namespace {

constexpr int kHeaderSize = 8;
// Handlers take their fixed fields off the payload, also off one that is negative; none has this many of
// them.
constexpr int kLowestPayload = INT_MIN + 1024;
// Boxes at the top level before the media data; a file of empty boxes would keep the parser busy for ever.
constexpr int kMostTopLevelBoxes = 65536;

int wrapping_sub(int a, int b) {
    return static_cast<int>(static_cast<unsigned int>(a) - static_cast<unsigned int>(b));
}

struct BoxHeader {
    int size = 0;  // as stored
    char type[5] = {};
};

// False at the end of the stream, where a failed size alone does not end a walk: the code behind it decides.
// Behind the end of the moov buffer both fields are zero, so that every walk ends there by itself and with
// success: the tables ahead of a cut are complete and count.
bool read_box_header(iso_file* file, BoxHeader* header) {
    header->size = getint32(file);
    if (file->in_buffer) {
        read_buf(file, header->type, 4);
        return true;
    }
    unsigned int count = 4;
    const auto status = qliputil_seeknread(file->io, reinterpret_cast<unsigned char*>(header->type), &count);
    return status == 0 && count == 4;
}

const isobox* find_row(const isobox* table, const char* type) {
    while (table->name && std::strcmp(table->name, type) != 0)
        ++table;
    return table;
}

// Hands the payload to its row, or passes over it.
int handle_box(iso_file* file, const isobox* table, const BoxHeader& header, int payload) {
    const isobox* row = find_row(table, header.type);
    if (row->handler) {
        if (row->owner == BoxOwner::Track && !file->current_track) return kRefuse;
        const int result = row->handler(file, payload);
        if (result != kGoOn) return result;
    } else if (payload != 0) {
        skip(file, payload);
    }
    if (row->name && std::strcmp(row->name, "moov") == 0) file->in_buffer = 0;
    return kGoOn;
}

// One walk over the children of a container.
class Walk {
  public:
    Walk(iso_file* file, const isobox* table, int size)
        : file_(file), table_(table), limit_(size), to_end_(size == 0 && !stays_empty(table)) {
        if (to_end_) limit_ = INT_MAX;
    }

    int run() {
        ++file_->depth;
        while (limit_ >= 1) {
            BoxHeader header;
            const unsigned char* start = file_->in_buffer ? file_->buffer_next : nullptr;
            // The depth stays as it is here: kept for what follows a cut header [depth-of-cut-header].
            if (!read_box_header(file_, &header)) return to_end_ ? kGoOn : kRefuse;
            const int result = take(header, start);
            if (result != kGoOn) {
                --file_->depth;
                return result == kStopWell ? kGoOn : result;
            }
        }
        --file_->depth;
        return kGoOn;
    }

  private:
    // An empty udta is left at once. Any other empty container takes in the boxes behind it: kept for files
    // that play this way alone [empty-containers].
    static bool stays_empty(const isobox* table) {
        return table->name && std::strcmp(table->name, "hnti") == 0;
    }

    int take(const BoxHeader& header, const unsigned char* start) {
        LimitedCallbacks* limits = limits_of(file_);
        if (limits && !limits->take_box()) return kRefuse;
        const int payload = account(header.size);
        if (file_->depth == 1) file_->position += kHeaderSize;
        const int result = handle_box(file_, table_, header, std::max(payload, kLowestPayload));
        if (result != kGoOn) return result;
        if (file_->depth == 1) file_->position += static_cast<unsigned int>(payload);
        return goes_forward(header, start) ? kGoOn : kRefuse;
    }

    // Takes a box off the limit. Returns the payload size; a box size of 0 ends the walk behind its header.
    int account(int box_size) {
        if (box_size == 0) {
            limit_ = 0;
            return 0;
        }
        limit_ = wrapping_sub(limit_, box_size);
        return wrapping_sub(box_size, kHeaderSize);
    }

    // A box that leads back to its own start, or before it, would be walked for ever.
    bool goes_forward(const BoxHeader& header, const unsigned char* start) {
        if (limit_ < 1) return true;
        if (file_->in_buffer) return !start || file_->buffer_next > start;
        return header.size > 0 && ++boxes_ < kMostTopLevelBoxes;
    }

    iso_file* file_;
    const isobox* table_;
    int limit_;
    bool to_end_;
    int boxes_ = 0;
};

}  // namespace

int parse(iso_file* file, isobox* table, int size) {
    return Walk(file, table, size).run();
}

int read_header(iso_file* file) {
    if (parse(file, file_box, 0) == kRefuse) return kRefuse;
    if (file->mdat_image) {
        file->read_fn = mread;
        file->seek_fn = mseek;
        file->stream = file;
    }
    return kGoOn;
}
