// Real files: every field that the model keeps is compared with what list_boxes.py reads from the same bytes,
// and a dump of a tree is read back as the same tree.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <sstream>

#include "tests/filegen/box_stream.h"
#include "tests/support/samples.h"

namespace qlip_test {
namespace {

using namespace Vorn3gp;

using Lines = std::vector<std::string>;

std::string text_of(unsigned int type) {
    return {reinterpret_cast<const char*>(&type), 4};
}

// Lists a tree the way list_boxes.py lists a file; `placed` adds where each box stands.
class Lister {
  public:
    explicit Lister(bool placed) : placed_(placed) {}

    Lines list(const Simple3gp& file) {
        if (file.GetFtyp()) place("/ftyp", *file.GetFtyp());
        for (const MdatBox* mdat : file.mdats)
            place("/mdat", *mdat);
        const MoovBox& moov = *file.GetMoov();
        place("/moov", moov);
        const MvhdBox& mvhd = *moov.GetMvhd();
        place("/moov/mvhd", mvhd);
        show("/moov/mvhd timescale,duration,rate", mvhd.GetTimescale(), mvhd.GetDuration(), mvhd.rate);
        show("/moov/mvhd next_track", mvhd.next_track_ID);
        for (size_t i = 0; i < moov.GetTraks().size(); ++i)
            trak("/moov/trak" + std::to_string(i), *moov.GetTraks()[i]);
        std::sort(lines_.begin(), lines_.end());
        return lines_;
    }

  private:
    template <class... Values>
    void show(const std::string& name, const Values&... values) {
        std::ostringstream line;
        line << name;
        ((line << ' ' << values), ...);
        lines_.push_back(line.str());
    }

    void place(const std::string& path, const Box& box) {
        if (placed_) show(path + " at,size", std::streamoff(box.position), box.GetSizeWhole());
    }

    void trak(const std::string& path, const TrakBox& trak) {
        place(path, trak);
        const TkhdBox& tkhd = *trak.GetTkhd();
        place(path + "/tkhd", tkhd);
        show(path + "/tkhd times,id", tkhd.creation_time, tkhd.modification_time, tkhd.GetTrackId());
        show(path + "/tkhd duration", tkhd.GetDuration());
        show(path + "/tkhd volume", tkhd.GetVolume());
        show(path + "/tkhd dimensions", tkhd.GetWidth(), tkhd.GetHeight());
        if (trak.GetEdts()) edits(path + "/edts", *trak.GetEdts());
        if (trak.GetTref()) {
            const TrackReferenceTypeBox& hint = *trak.GetTref()->GetTrackReferenceTypeBox();
            place(path + "/tref", *trak.GetTref());
            place(path + "/tref/hint", hint);
            show(path + "/tref/hint track", hint.GetTrackID(0));
        }
        media(path + "/mdia", *trak.GetMdia());
    }

    void edits(const std::string& path, const EdtsBox& edts) {
        place(path, edts);
        place(path + "/elst", *edts.GetElst());
        rows(path + "/elst", edts.GetElst()->GetEditEntries(), [](const tagELST_EDIT_ENTRY& row) {
            return std::array<long, 4>{long{row.segment_duration}, row.media_time, row.media_rate_integer,
                                       row.media_rate_fraction};
        });
    }

    void media(const std::string& path, const MdiaBox& mdia) {
        const MdhdBox& mdhd = *mdia.GetMdhd();
        const MinfBox& minf = *mdia.GetMinf();
        place(path, mdia);
        place(path + "/mdhd", mdhd);
        show(path + "/mdhd times,timescale,duration", mdhd.creation_time, mdhd.modification_time,
             mdhd.GetTimescale(), mdhd.GetDuration());
        show(path + "/mdhd language", mdhd.language);
        place(path + "/hdlr", *mdia.GetHdlr());
        show(path + "/hdlr handler", text_of(mdia.GetHdlr()->GetHandlerType()));
        place(path + "/minf", minf);
        if (minf.vmhd) place(path + "/minf/vmhd", *minf.vmhd);
        if (minf.smhd) place(path + "/minf/smhd", *minf.smhd);
        if (minf.hmhd) place(path + "/minf/hmhd", *minf.hmhd);
        place(path + "/minf/dinf", *minf.dinf);
        place(path + "/minf/dinf/dref", *minf.dinf->dref);
        tables(path + "/minf/stbl", *minf.GetStbl());
    }

    void tables(const std::string& path, const StblBox& stbl) {
        const auto word = [](unsigned int value) { return std::array<long, 1>{long{value}}; };
        place(path, stbl);
        place(path + "/stsd", *stbl.GetStsd());
        for (const Box* entry : stbl.GetStsd()->GetSampleEntries())
            sample_entry(path + "/stsd/" + text_of(entry->GetType()), *entry);
        place(path + "/stts", *stbl.GetStts());
        rows(path + "/stts", stbl.GetStts()->GetSampleEntries(), [](const tagSTTS_SAMPLE_ENTRY& row) {
            return std::array<long, 2>{long{row.sample_count}, long{row.sample_delta}};
        });
        place(path + "/stsc", *stbl.GetStsc());
        rows(path + "/stsc", stbl.GetStsc()->GetSampleEntries(), [](const tagSTSC_SAMPLE_ENTRY& row) {
            return std::array<long, 3>{long{row.first_chunk}, long{row.samples_per_chunk},
                                       long{row.sample_description_index}};
        });
        place(path + "/stsz", *stbl.GetStsz());
        show(path + "/stsz size,count", stbl.GetStsz()->GetSampleSize(), stbl.GetStsz()->GetSampleCount());
        rows(path + "/stsz", stbl.GetStsz()->GetChunkSizes(), word);
        place(path + "/stco", *stbl.GetStco());
        rows(path + "/stco", stbl.GetStco()->GetChunkOffsets(), word);
        if (!stbl.GetStss()) return;
        place(path + "/stss", *stbl.GetStss());
        rows(path + "/stss", stbl.GetStss()->GetSyncSampleEntries(), word);
    }

    void sample_entry(const std::string& path, const Box& entry) {
        place(path, entry);
        if (const auto* h263 = dynamic_cast<const H263SampleEntry*>(&entry)) {
            tagH263_DEC_SPEC settings = {};
            h263->GetH263Specific()->GetH263Specific(&settings);
            show(path + " dimensions", h263->GetWidth(), h263->GetHeight());
            show(path + " d263", int{settings.decoder_version}, int{settings.h263_level},
                 int{settings.h263_profile});
        } else if (const auto* mpeg4 = dynamic_cast<const MP4VisualSampleEntry*>(&entry)) {
            const tagESD_INFO& info = *mpeg4->GetESDBox()->GetESDInfo();
            std::string dsi;
            for (unsigned int i = 0; i < info.dsi_size_byte; ++i) {
                char digits[3];
                std::snprintf(digits, sizeof digits, "%02x", info.dsi[i]);
                dsi += digits;
            }
            show(path + " dimensions", mpeg4->GetWidth(), mpeg4->GetHeight());
            show(path + " dsi", dsi);
        } else if (const auto* h264 = dynamic_cast<const H264SampleEntry*>(&entry)) {
            show(path + " dimensions", h264->visual.width, h264->visual.height);
        } else if (const auto* amr = dynamic_cast<const AMRSampleEntry*>(&entry);
                   amr && amr->GetAMRSpecific()) {
            const AMRSpecificBox& damr = *amr->GetAMRSpecific();
            show(path + " damr", int{damr.decoder_version}, damr.GetModeSet(), int{damr.mode_change_period},
                 int{damr.frames_per_sample});
        }
    }

    template <class Rows, class Columns>
    void rows(const std::string& path, const Rows& table, Columns columns) {
        for (size_t i = 0; i < table.size(); ++i) {
            std::ostringstream line;
            line << path << " row" << i;
            for (const long value : columns(table[i]))
                line << ' ' << value;
            lines_.push_back(line.str());
        }
    }

    bool placed_;
    Lines lines_;
};

Lines listed_by_script(const std::string& name) {
    const std::string command = std::string(QLIP_PYTHON " " QLIP_LIST_BOXES " " QLIP_SAMPLES "/") + name;
    FILE* const pipe = popen(command.c_str(), "r");
    std::string text;
    std::array<char, 4096> buffer;
    for (size_t got; (got = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
        text.append(buffer.data(), got);
    EXPECT_EQ(pclose(pipe), 0);
    Lines lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    std::sort(lines.begin(), lines.end());
    return lines;
}

class Samples : public testing::TestWithParam<std::tuple<std::string, MemoryHost::EofStyle>> {
  protected:
    const std::string& name() const { return std::get<0>(GetParam()); }
    void read(Simple3gp& file, const Bytes& bytes) const {
        BoxStream in(bytes);
        in.host.eof_style = std::get<1>(GetParam());
        file.Read(in.stream, 0);
    }
};

TEST_P(Samples, HaveTheFieldsThatAnotherParserFinds) {
    Simple3gp file;
    read(file, sample(name()));
    const Lines expected = listed_by_script(name());
    EXPECT_GT(expected.size(), 30u);
    EXPECT_EQ(Lister(true).list(file), expected);
}

// Entries whose dump is not as long as the size that it writes: unknown ones, H.264 ones, and MPEG-4 ones
// with descriptor sizes in the long form.
bool dumps_wrong_size(const Box& entry) {
    if (const auto* mpeg4 = dynamic_cast<const MP4VisualSampleEntry*>(&entry)) {
        const tagESD_INFO& info = *mpeg4->GetESDBox()->GetESDInfo();
        return info.es_size != 23 + info.dsi_size;
    }
    return dynamic_cast<const NullSampleEntry*>(&entry) || dynamic_cast<const H264SampleEntry*>(&entry);
}

bool dumps_whole(const Simple3gp& file) {
    const auto& traks = file.GetMoov()->GetTraks();
    return std::none_of(traks.begin(), traks.end(), [](const TrakBox* trak) {
        const auto& entries = trak->GetMdia()->GetMinf()->GetStbl()->GetStsd()->GetSampleEntries();
        return std::any_of(entries.begin(), entries.end(),
                           [](const Box* entry) { return dumps_wrong_size(*entry); });
    });
}

TEST_P(Samples, SurviveDumpAndReadBarringEntriesOfWrongSize) {
    Simple3gp file;
    read(file, sample(name()));
    const Bytes bytes = dumped(file);
    EXPECT_EQ(bytes.size() == file.GetFtyp()->GetSize() + file.GetMoov()->GetSize(), dumps_whole(file));
    if (!dumps_whole(file)) return;
    Simple3gp again;
    read(again, bytes);
    EXPECT_EQ(Lister(false).list(again), Lister(false).list(file));
}

INSTANTIATE_TEST_SUITE_P(Files, Samples,
                         testing::Combine(testing::ValuesIn(sample_names()),
                                          testing::Values(MemoryHost::EofStyle::AtEnd,
                                                          MemoryHost::EofStyle::AfterShortRead)));

}  // namespace
}  // namespace qlip_test
