#include "kit/structure.h"

#include <array>
#include <cstring>

#include "common/byte_order.h"

namespace qlip::kit {
namespace {

constexpr size_t kHeaderSize = 8;
constexpr size_t kLongHeaderSize = 16;
constexpr int kMostBoxes = 65536;  // on one level; a file of empty boxes would cost a read for each

struct Box {
    uint32_t stored_size = 0;
    uint64_t size = 0;
    std::array<char, 4> type{};

    bool is(const char* name) const { return std::memcmp(type.data(), name, type.size()) == 0; }
};

enum class Look { found, short_of, refused };

// Reads the header at `at`. One with a size of 0 reaches to the end, wherever that is.
Look look_at_box(Source& source, uint64_t at, Box& box, int& status) {
    std::array<unsigned char, kLongHeaderSize> bytes{};
    const int64_t got = source.read_at(bytes.data(), bytes.size(), at);
    if (got < 0) {
        status = got == QLIP_READ_WAIT ? QLIP_NOT_AVAILABLE_YET : QLIP_IO_CALLBACK_FAILED;
        return Look::refused;
    }
    if (got < static_cast<int64_t>(kHeaderSize)) return Look::short_of;
    box.stored_size = load_be32(bytes.data());
    std::memcpy(box.type.data(), bytes.data() + 4, box.type.size());
    box.size = box.stored_size;
    if (box.stored_size != 1) return Look::found;
    box.size = uint64_t{load_be32(bytes.data() + 8)} << 32 | load_be32(bytes.data() + 12);
    return got < static_cast<int64_t>(kLongHeaderSize) ? Look::short_of : Look::found;
}

// The boxes inside moov fill it exactly, and none of them is mvex, which says that samples are described
// elsewhere.
void look_inside(Source& source, Structure& found) {
    const uint64_t end = found.offset + found.size;
    uint64_t at = found.offset + kHeaderSize;
    for (int boxes = 0; at < end; ++boxes) {
        Box box;
        if (look_at_box(source, at, box, found.status) != Look::found || box.size < kHeaderSize ||
            box.size > end - at || boxes == kMostBoxes) {
            found.contradictory = found.status == QLIP_SUCCESS;
            return;
        }
        if (box.is("mvex")) found.fragmented = true;
        at += box.size;
    }
}

void take_moov(Source& source, const Box& box, uint64_t at, Structure& found) {
    found.offset = at;
    found.size = box.size;
    found.needed = at + box.size;
    if (box.stored_size < kHeaderSize || found.needed > kMostBytes) {
        found.contradictory = true;
        return;
    }
    found.whole = found.needed <= source.size();
    if (found.whole) look_inside(source, found);
}

}  // namespace

Structure look_at_structure(Source& source) {
    Structure found;
    uint64_t at = 0;
    for (int boxes = 0; boxes < kMostBoxes && at <= kMostBytes; ++boxes) {
        Box box;
        found.needed = at + kHeaderSize;
        const Look look = look_at_box(source, at, box, found.status);
        if (look == Look::short_of && box.stored_size == 1) found.needed = at + kLongHeaderSize;
        if (look != Look::found) return found;
        if (box.is("moov")) {
            take_moov(source, box, at, found);
            return found;
        }
        if (box.is("mdat")) found.media_first = true;
        if (box.size < kHeaderSize) break;
        at += box.size;
    }
    found.contradictory = true;
    return found;
}

}  // namespace qlip::kit
