// Real files: each box that the model keeps whole dumps as the bytes that the file has for it, and a dump of
// a tree that says its own length reads back as the same tree.
#include <gtest/gtest.h>

#include "tests/boxes/box_stream.h"
#include "tests/support/samples.h"

namespace qlip_test {
namespace {

using namespace Vorn3gp;

// The boxes of a track that are kept whole; null where there is none.
std::vector<const Box*> whole_boxes(const TrakBox& trak) {
    const MdiaBox& mdia = *trak.GetMdia();
    const MinfBox& minf = *mdia.GetMinf();
    const StblBox& stbl = *minf.GetStbl();
    return {trak.GetTkhd(), trak.GetEdts(), trak.GetTref(), mdia.GetMdhd(), mdia.GetHdlr(),
            minf.vmhd,      minf.smhd,      minf.hmhd,      minf.dinf,      stbl.GetStts(),
            stbl.GetStsc(), stbl.GetStsz(), stbl.GetStco(), stbl.GetStss()};
}

class Samples : public testing::TestWithParam<std::tuple<std::string, MemoryHost::EofStyle>> {};

TEST_P(Samples, DumpTheBytesOfTheFileBoxByBox) {
    const Bytes bytes = sample(std::get<0>(GetParam()));
    BoxStream in(bytes);
    in.host.eof_style = std::get<1>(GetParam());
    Simple3gp file;
    file.Read(in.stream, 0);
    std::vector<const Box*> boxes = {file.GetFtyp(), file.GetMoov()->GetMvhd()};
    for (const TrakBox* trak : file.GetMoov()->GetTraks())
        for (const Box* box : whole_boxes(*trak))
            if (box) boxes.push_back(box);
    EXPECT_GE(boxes.size(), 12U);
    for (const Box* box : boxes) {
        const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(std::streamoff(box->position));
        const Bytes own(at, at + box->GetSizeWhole());
        EXPECT_EQ(dumped(*box), own) << std::string(at + 4, at + 8);
    }
}

INSTANTIATE_TEST_SUITE_P(Files, Samples,
                         testing::Combine(testing::ValuesIn(sample_names()),
                                          testing::Values(MemoryHost::EofStyle::AtEnd,
                                                          MemoryHost::EofStyle::AfterShortRead)));

}  // namespace
}  // namespace qlip_test
