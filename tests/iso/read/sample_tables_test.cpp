// Loading, completing and clipping the sample tables.
#include <gmock/gmock.h>

#include "iso/read/box_handlers.h"
#include "tests/iso/opened_file.h"

namespace qlip_test {
namespace {

using testing::HasSubstr;

OpenedFile opened(std::initializer_list<Bytes> tables) {
    return OpenedFile(moov_file({stbl_trak(tables)}));
}

TEST(SampleTables, KeepTheFilesOwnFormFromAnyAlignment) {
    for (size_t shift = 0; shift < 8; ++shift) {
        OpenedFile f = opened({box("zzzz", Bytes(shift, 1)), table("stts", 2, {2, 160, 1, 320}),
                               table("ctts", 1, {3, 0xFFFFFFFF}), table("stsz", 0, {3, 10, 30, 20}),
                               box("zzzz", Bytes(1, 1)), table("stss", 999, std::vector(999, 7U)),
                               table("stsc", 1, {1, 3, 1}), table("stco", 1, {0x01020304})});
        SCOPED_TRACE(shift);
        const iso_track* t = f.track();
        EXPECT_EQ(t->stts[1][1], 320);
        EXPECT_EQ(t->ctts[0][1], -1);
        EXPECT_EQ(t->sample_sizes[1], 30U);
        EXPECT_EQ(std::tuple(t->total_bytes, t->max_sample_size), std::tuple(60U, 30));
        EXPECT_EQ(t->sync_samples[998], 7U) << "as many as there are";
        EXPECT_EQ(t->stsc[0][1], 3U);
        EXPECT_EQ(t->file_pos, 0x01020304U);
        EXPECT_EQ(t->chunks[0].end, 0x01020304U + 60);
    }
}

TEST(SampleTables, EachChunkEndsBehindItsSamples) {
    const struct {
        const char* name;
        Bytes stts, stsz, stsc, stco;
        std::vector<unsigned int> ends;
    } kCases[] = {
        {"the last row serves all chunks that are left",
         table("stts", 1, {30, 1}),
         table("stsz", 2, {30}),
         table("stsc", 2, {1, 10, 1, 3, 5, 1}),
         table("stco", 4, {100, 200, 300, 400}),
         {120, 220, 310, 410}},
        {"a sample in each chunk needs no rows",
         table("stts", 1, {2, 1}),
         table("stsz", 0, {2, 7, 9}),
         table("stsc", 1, {1, 99, 1}),
         table("stco", 2, {50, 20}),
         {57, 29}},
        {"more times than samples, and an empty ctts",
         table("stts", 1, {50, 5}),
         join({table("ctts", 0, {}), table("stsz", 2, {1})}),
         table("stsc", 1, {1, 1, 1}),
         table("stco", 1, {9}),
         {11}},
    };
    for (const auto& [name, stts, stsz, stsc, stco, ends] : kCases) {
        OpenedFile f = opened({stts, stsz, stsc, stco});
        EXPECT_EQ(f.output, "") << name;
        const iso_track* t = f.track();
        ASSERT_EQ(t->chunk_count, static_cast<int>(ends.size()));
        for (size_t i = 0; i < ends.size(); ++i)
            EXPECT_EQ(t->chunks[i].end, ends[i]) << name;
    }
}

TEST(SampleTables, AreClippedToWhatTheyAllSupport) {
    const struct {
        Bytes stsc, stco;
        const char* line;
        int samples, chunks;
    } kCases[] = {
        {table("stsc", 1, {1, 5, 1}), table("stco", 2, {1, 2}), "9/5 stco count 2/1 \n", 5, 1},
        {table("stsc", 1, {1, 2, 1}), table("stco", 2, {1, 2}), "9/4 stco count 2/2 \n", 4, 2},
        {table("stsc", 0, {}), table("stco", 2, {1, 2}), "9/0 stco count 2/2 \n", 0, 2},
        {table("stsc", 1, {1, 9, 1}), table("stco", 0, {}), "9/0 stco count 0/0 \n", 0, 0},
    };
    for (const auto& [stsc, stco, line, samples, chunks] : kCases) {
        OpenedFile f(
            moov_file({stbl_trak({table("stts", 1, {9, 1}), table("stsz", 2, {9}), stsc, stco}), trak({})}));
        const std::string warning = "Warning: inconsistent stsc/stco/stsz tables --- sample count ";
        EXPECT_EQ(f.output, warning + line);
        EXPECT_EQ(f.track()->sample_count, samples);
        EXPECT_EQ(f.track()->chunk_count, chunks);
        EXPECT_NE(f.track(2), nullptr) << "the box is not rejected";
    }
}

TEST(SampleTables, TimeRowsBelowTheSampleCountStopTheParse) {
    OpenedFile f(moov_file({stbl_trak({table("stts", 2, {1, 5, 1, 5}), table("stsz", 2, {3})}), trak({})}));
    EXPECT_EQ(f.output, "invalid stts\n");
    EXPECT_EQ(f.track(2), nullptr);
    OpenedFile c(moov_file(
        {stbl_trak({table("stts", 1, {3, 5}), table("ctts", 1, {2, 5}), table("stsz", 2, {3})}), trak({})}));
    EXPECT_EQ(c.output, "invalid ctts 2\n");
    EXPECT_EQ(c.track(2), nullptr);
}

TEST(SampleTables, ACountBeyondTheWholeMoovIsRefused) {
    for (const unsigned int count : {0x100U, 0x20000000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        for (const char* type : {"stts", "ctts", "stsc", "stco", "stss", "sbgp"}) {
            OpenedFile f(moov_file({stbl_trak({table(type, count, {})}), trak({})}));
            EXPECT_EQ(f.track(2), nullptr) << type << count;
            EXPECT_EQ(f.file->arena_chunks, 1);
        }
        OpenedFile f = opened({table("stsz", 0, {count})});
        EXPECT_EQ(f.track()->sample_count, 0);
    }
}

TEST(SampleTables, ASmallerOverrunReadsZeroWithALinePerMissingWord) {
    OpenedFile f = opened({table("stts", 1, {4, 1}), table("stsz", 0, {4, 11, 12})});
    const iso_track* t = f.track();
    EXPECT_EQ(t->sample_sizes[1], 12U);
    EXPECT_EQ(t->sample_sizes[2] | t->sample_sizes[3], 0U);
    EXPECT_THAT(f.output, testing::StartsWith("read_buf, EOF 0 left, 4 requested\n"
                                              "read_buf, EOF 0 left, 4 requested\nWarning: "));
}

TEST(SampleGroups, AreKeptAsLists) {
    OpenedFile f = opened({full_box("sgpd", ByteWriter().text("roll").u32(0)), kGroups, kGroupRuns});
    EXPECT_EQ(f.output, "skipping unknown grouping type: roll\n");
    const iso_track* t = f.track();
    EXPECT_STREQ(t->grouping_type, "avcb");
    ASSERT_EQ(t->sgpd_count, 2);
    EXPECT_EQ(t->sgpd->record_count, 1);
    EXPECT_EQ(t->sgpd->records[0][4], 5U);
    EXPECT_EQ(t->sgpd->next->record_count, 0);
    EXPECT_EQ(t->sgpd->next->next, nullptr);
    ASSERT_EQ(t->sbgp_count, 2);
    EXPECT_EQ(t->sbgp->group_index, 1);
    EXPECT_EQ(t->sbgp->next->sample_count, 4);
}

// Bytes of memory that a track of one more table takes.
long long taken_by(const Bytes& table) {
    const auto taken = [](const OpenedFile& f) {
        return 2048000LL * f.file->arena_chunks - f.file->arena_left;
    };
    return taken(opened({table})) - taken(opened({})) - static_cast<long long>(table.size());  // moov is kept
}

TEST(SampleGroups, TakeAtMostTwiceTheirBox) {
    const auto sgpd = [](unsigned int entries, unsigned int records) {
        ByteWriter out;
        out.text("3gag").u32(entries);
        for (unsigned int i = 0; i < entries; ++i)
            out.u16(records).zeros(20 * records);
        return full_box("sgpd", out);
    };
    for (const auto& [entries, records] : {std::pair{64U, 0U}, {1000U, 1U}, {1000U, 3U}, {10000U, 0U}}) {
        const Bytes box = sgpd(entries, records);
        const OpenedFile f = opened({box});
        EXPECT_EQ(f.file->tracks->sgpd == nullptr, entries == 10000);
        EXPECT_LE(taken_by(box), 2LL * static_cast<long long>(box.size()) + 64 * 20) << entries;
    }
}

}  // namespace
}  // namespace qlip_test
