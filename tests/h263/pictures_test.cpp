#include "qlip/h263_isoff.h"
#include "tests/h263/picture_walk.h"

namespace qlip_test {
namespace {

class RealPictures : public testing::TestWithParam<Clip> {};

TEST_P(RealPictures, AreWalkedToTheirLastByte) {
    const auto count = static_cast<size_t>(GetParam().macroblocks);
    bool intra = false, inter = false;
    for (const Bytes& picture : pictures_of(GetParam())) {
        const Steps steps(with_ones_behind(picture), count);
        ASSERT_EQ(steps.ends.size(), count);
        const tbq_pos_t last = steps.ends.back();
        EXPECT_EQ(last.bit == 0 ? last.byte : last.byte + 1, picture.size());
        Bytes copy = picture;
        (h263_get_frame_type(copy.data(), static_cast<int>(copy.size())) == 0 ? intra : inter) = true;
    }
    EXPECT_TRUE(intra && inter);
}

INSTANTIATE_TEST_SUITE_P(Clips, RealPictures, testing::ValuesIn(kClips),
                         [](const auto& test) { return test.param.name; });

TEST(TruncatedPictures, WalkAsFarAsTheirBytesGo) {
    const auto pictures = pictures_of(kClips[0]);
    for (size_t index = 0; index < 2; ++index) {
        const Bytes& picture = pictures[index];
        const Steps whole(with_ones_behind(picture), 48);
        for (size_t size = 0; size < picture.size(); ++size) {
            const Steps steps(Bytes(picture.begin(), picture.begin() + static_cast<ptrdiff_t>(size)), 48);
            ASSERT_NE(steps.result, 0) << size;
            ASSERT_TRUE(std::equal(steps.ends.begin(), steps.ends.end(), whole.ends.begin())) << size;
            // Only a macroblock that ends within the look-ahead may be missing.
            const size_t next = steps.ends.size();
            ASSERT_LT(8 * size, 8 * whole.ends[next].byte + whole.ends[next].bit + 16) << size;
        }
    }
}

TEST(BoundariesOfAStream, AreItsPicturesAndGroups) {
    const Bytes stream = stream_of(kClipWithGroups);
    const std::vector<size_t> offsets = picture_offsets(stream);
    Walker walker(stream);
    std::vector<size_t> found;
    unsigned groups = 0, last_group = 0;
    for (tbq_boundary_t kind; (kind = walker.call(tbq_boundary_next)) != TBQ_BOUNDARY_NONE;) {
        if (kind == TBQ_BOUNDARY_PICTURE) {
            found.push_back(walker.pos.byte);
            last_group = 0;
            tbq_pos_add(&walker.pos, &walker.pos, 22);
            continue;
        }
        walker.call(tbq_segment_header_parse);
        ASSERT_GT(walker.state.gob.group_number, last_group);
        ASSERT_LT(walker.state.gob.group_number, 9U);
        last_group = walker.state.gob.group_number;
        ++groups;
    }
    found.push_back(stream.size());
    EXPECT_EQ(found, offsets);
    EXPECT_GT(groups, offsets.size());
}

}  // namespace
}  // namespace qlip_test
