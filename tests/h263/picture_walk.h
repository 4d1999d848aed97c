// A walk over the macroblocks of a real picture.
#pragma once

#include "qlip/h263_isoff.h"
#include "tests/h263/pictures.h"
#include "tests/h263/walk_support.h"

namespace qlip_test {

// Where each macroblock of a picture ends, until a step fails; `bytes` is copied into a block of its size.
struct Steps {
    explicit Steps(const Bytes& bytes, size_t most) {
        Walker walker(bytes);
        while (ends.size() < most) {
            const tbq_pos_t before = walker.pos;
            result = get_start_of_mb(&walker.state, walker.bytes.data(),
                                     static_cast<int>(walker.bytes.size()), &walker.pos, &walker.pos);
            if (result != 0) {
                // Only a picture header stays stepped over when the macroblock behind it fails.
                EXPECT_TRUE(ends.empty() || walker.pos == before);
                break;
            }
            EXPECT_EQ(walker.state.mb.mb_number, ends.size());
            ends.push_back(walker.pos);
        }
    }

    std::vector<tbq_pos_t> ends;
    int result = 0;
};

// A picture that can be walked to its end.
inline Bytes with_ones_behind(Bytes picture) {
    picture.insert(picture.end(), {0xFF, 0xFF});
    return picture;
}

}  // namespace qlip_test
