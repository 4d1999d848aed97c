// Real files: each box that the model keeps whole is dumped as the very bytes that stand in the file.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/filegen/box_stream.h"
#include "tests/support/samples.h"

namespace qlip_test {
namespace {

using namespace Vorn3gp;

class Samples : public testing::TestWithParam<std::tuple<std::string, MemoryHost::EofStyle>> {
  protected:
    void SetUp() override {
        in.host.eof_style = std::get<1>(GetParam());
        file.Read(in.stream, 0);
    }

    template <class... Boxes>
    void expect_same(const Boxes*... boxes) {
        (expect_one(boxes), ...);
    }

    void expect_entry(const Box* entry) {
        if (const auto* h263 = dynamic_cast<const H263SampleEntry*>(entry))
            return expect_one(h263->GetH263Specific());  // the entry may hold more boxes
        const auto* amr = dynamic_cast<const AMRSampleEntry*>(entry);
        if (amr && amr->GetAMRSpecific()) expect_one(amr);
    }

    BoxStream in{sample(std::get<0>(GetParam()))};
    Simple3gp file;
    unsigned int found = 0;

  private:
    void expect_one(const Box* box) {
        if (!box) return;
        ++found;
        const auto at = in.host.bytes.begin() + std::streamoff(box->position);
        const Bytes bytes = dumped(*box);
        EXPECT_EQ(bytes.size(), box->GetSizeWhole());
        EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), at)) << Bytes(at + 4, at + 8).data();
    }
};

TEST_P(Samples, AreDumpedAsTheyStand) {
    const MoovBox& moov = *file.GetMoov();
    expect_same(file.GetFtyp(), moov.GetMvhd());
    for (const TrakBox* trak : moov.GetTraks()) {
        const MdiaBox& mdia = *trak->GetMdia();
        const MinfBox& minf = *mdia.GetMinf();
        const StblBox& stbl = *minf.GetStbl();
        expect_same(trak->GetTkhd(), trak->GetEdts(), trak->GetTref(), mdia.GetMdhd(), mdia.GetHdlr());
        expect_same(minf.vmhd, minf.smhd, minf.hmhd, minf.dinf);
        expect_same(stbl.GetStts(), stbl.GetStsc(), stbl.GetStsz(), stbl.GetStco(), stbl.GetStss());
        for (const Box* entry : stbl.GetStsd()->GetSampleEntries())
            expect_entry(entry);
    }
    EXPECT_GE(found, 11u);
}

INSTANTIATE_TEST_SUITE_P(Files, Samples,
                         testing::Combine(testing::ValuesIn(sample_names()),
                                          testing::Values(MemoryHost::EofStyle::AtEnd,
                                                          MemoryHost::EofStyle::AfterShortRead)));

}  // namespace
}  // namespace qlip_test
