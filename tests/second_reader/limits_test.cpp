// Limits and the line function of qlip/limits.h, through the second reader.
#include <gtest/gtest.h>

#include "qlip/SimpleException.h"
#include "tests/second_reader/reader_support.h"
#include "tests/support/limited_host.h"
#include "tests/support/syslog_capture.h"

namespace qlip_test {
namespace {

// What plays to its end; a refusal is status 4, and the line that names the limit comes first.
bool plays(const Bytes& movie, const KeptLines& limits) {
    MemoryHost host(movie);
    const LimitedRecord record = limited(host.record(), limits);
    C3gpInterface reader;
    Delivery last{reader.Open(record.get(), "rv"), {}};
    if (last.status == QLIP_SUCCESS) last = read_all(reader, 1000, true);
    if (last.status == QLIP_END_OF_FILE) return true;
    EXPECT_EQ(last.status, QLIP_CORRUPT_FILE);
    EXPECT_NE(limits.kept.at(0).second.find("passes a limit"), std::string::npos);
    return false;
}

TEST(ReaderLimits, AreWhatAFilmTakesAndNoMoreAndEveryLineGoesToTheFunction) {
    MoviePlan plan = video_plan(40);
    const Bytes movie = build_movie(plan);
    syslog_lines().clear();
    const auto played = [&](const KeptLines& limits) { return plays(movie, limits); };
    // ftyp, moov, mvhd and mdat; in both tracks 17, with the sample entry; and a tref with its reference.
    EXPECT_EQ(lowest(&qlip_limits::boxes, played), 40U);
    EXPECT_EQ(lowest(&qlip_limits::samples, played), 40U);
    const uint64_t memory = lowest(&qlip_limits::memory, played);
    EXPECT_GT(memory, 2 * 40U * 8);
    EXPECT_LT(memory, 3 * movie.size());

    MemoryHost host(movie);
    C3gpInterface reader;
    ASSERT_EQ(reader.Open(host.record(), "rv"), 0U);
    EXPECT_EQ(lowest(&qlip_limits::steps, played), host.calls - host.count(Slot::ConvertStatus));

    plan.tracks[kHint].samples[0] = Bytes(32, 0xFF);
    host.bytes = build_movie(plan);
    host.position = 0;
    KeptLines limits;
    const LimitedRecord record = limited(host.record(), limits);
    C3gpInterface damaged;
    ASSERT_EQ(damaged.Open(record.get(), "rv"), 0U);
    read_all(damaged, 1000, false);
    EXPECT_EQ(limits.kept.at(0).first, int{QLIP_LINE_WARNING});
    seek(damaged, 0, 0);
    EXPECT_EQ(limits.kept.back().first, int{QLIP_LINE_ERROR});
    EXPECT_TRUE(limits.kept.back().second.ends_with("): Illegal Seek Flags")) << limits.kept.back().second;
    EXPECT_TRUE(syslog_lines().empty());
}

}  // namespace
}  // namespace qlip_test
