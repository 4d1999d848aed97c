// Limits and the line function of qlip/limits.h, through the session and the ISO engine.
#include "qlip/limits.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <utility>

#include "iso/play/sample_places.h"
#include "qlip/isoff.h"
#include "tests/iso/opened_file.h"
#include "tests/session/player.h"
#include "tests/support/limited_host.h"
#include "tests/support/syslog_capture.h"

using namespace qlip_test;

namespace {

MoviePlan speech(size_t samples) {
    return {{speech_track(std::vector<Bytes>(samples, Bytes(32, 0x3C)))}};
}

// A track with one line to say for each of its sample groups.
Bytes talkative(int groups) {
    Bytes tables;
    for (int i = 0; i < groups; ++i)
        tables = join({tables, full_box("sgpd", ByteWriter().text("else"))});
    return moov_file({stbl_trak({tables})});
}

// Whether a film plays to its end; if not, it was refused, and the first line names the limit.
bool plays(const Bytes& movie, const KeptLines& limits, const char* mode = "ra") {
    MemoryHost host(movie);
    mm_Interface* handle = nullptr;
    int status = qlip_OpenLimited(&handle, host.record(), mode, &limits);
    EXPECT_EQ(handle == nullptr, status != QLIP_SUCCESS);
    Bytes chunk(QLIP_LARGEST_CHUNK);
    unsigned int size = 0;
    while (status == QLIP_SUCCESS)
        status = qlip_ReadChunk(handle, chunk.data(), &size, true);
    qlip_Close(&handle);
    if (status == QLIP_END_OF_FILE && limits.kept.empty()) return true;
    EXPECT_EQ(status, QLIP_CORRUPT_FILE);
    EXPECT_NE(limits.kept.at(0).second.find("passes a limit"), std::string::npos);
    return false;
}

}  // namespace

TEST(Limits, AreWhatAFilmTakesAndNoMore) {
    const Bytes movie = build_movie(speech(40));
    const auto played = [&](const KeptLines& limits) { return plays(movie, limits); };
    MemoryHost host(movie);
    mm_Interface* handle = nullptr;
    ASSERT_EQ(qlip_Open(&handle, host.record(), "ra"), QLIP_SUCCESS);
    EXPECT_EQ(lowest(&qlip_limits::steps, played), host.calls - 1) << "the way back to 0 counts apart";
    qlip_Close(&handle);
    // ftyp, moov, mvhd, trak, tkhd, mdia, mdhd, hdlr, minf, smhd, dinf, dref, stbl and its five tables, the
    // sample entry with its configuration, and mdat, which ends the parse.
    EXPECT_EQ(lowest(&qlip_limits::boxes, played), 21U);
    EXPECT_EQ(lowest(&qlip_limits::samples, played), 40U);
}

// Each place that takes memory is refused some in turn.
TEST(Limits, OfMemoryAreHeldBlockByBlock) {
    TrackPlan hint =
        hint_track({hint_sample({{.marker = true, .constructors = {hint_sample_data(8, 1, 0)}}})});
    hint.sample_entry = kProtectedEntry;
    for (const auto& [mode, entry] :
         {std::pair("ra", samr_entry()),
          {"rv", visual_entry("mp4v", 176, 144, esds(hex("000001B003")))},
          {"rv", visual_entry("avc1", 176, 144, avcC(4, {hex("6742E01E")}, {hex("68CE")}))}}) {
        const TrackPlan media = {.handler = mode[1] == 'a' ? "soun" : "vide",
                                 .samples = {Bytes(32, 0x3C), Bytes(32, 0x3C)},
                                 .sample_entry = entry,
                                 .extra_trak = join({kEdits, kMeta, kTrackData}),
                                 .extra_minf = container("stbl", {kGroups, kGroupRuns})};
        const Bytes movie = build_movie({.tracks = {media, hint}});
        uint64_t memory = 8;
        for (bool refused = true; refused; memory += 8) {
            KeptLines limits;
            limits.memory = memory;
            refused = !plays(movie, limits, mode);
        }
        const size_t configuration = entry[4] == 'm' ? 64000 : 0;  // a copy as long as any sample
        EXPECT_GT(memory, configuration + 2U * 32);
        EXPECT_LT(memory, configuration + movie.size() + 2048);
    }
}

// The room for the places that jumps remember belongs to the structure: a limit that holds all but some of it
// refuses the film, although playing would do without.
TEST(Limits, OfMemoryHoldForThePlacesOfJumps) {
    const auto film = [](unsigned int samples) {
        TrackPlan media = {.handler = "vide", .sample_entry = visual_entry("s263", 176, 144, d263())};
        for (unsigned int i = 0; i < samples; ++i)
            media.samples.push_back(Bytes(4 + i % 3, 1));
        return build_movie(
            {.tracks = {media, hint_track({hint_sample({{.constructors = {hint_sample_data(4, 1, 0)}}})})}});
    };
    const auto least = [](const Bytes& movie) {
        uint64_t refused = 0, played = 1 << 20;
        while (played - refused > 1) {
            KeptLines limits;
            limits.memory = (refused + played) / 2;
            (plays(movie, limits, "rv") ? played : refused) = limits.memory;
        }
        return played;
    };
    constexpr unsigned int kSamples = 4000;
    const Bytes movie = film(kSamples);
    OpenedFile opened(movie);
    const auto places =
        static_cast<uint64_t>(qlip::SamplePlaces::room_for(opened.track())) * sizeof(qlip::Cursor);
    EXPECT_GT(places, kSamples / 8);
    EXPECT_GE(least(movie) - least(film(1)), places + movie.size() - film(1).size() - size_t{5} * kSamples);
}

TEST(Limits, ThatAreNotMeantAreRefusedAheadOfTheFile) {
    MemoryHost host(build_movie(speech(1)));
    mm_Interface* handle = nullptr;
    qlip_limits limits = QLIP_LIMITS_INIT;
    EXPECT_EQ(qlip_OpenLimited(nullptr, host.record(), "ra", &limits), QLIP_BAD_HANDLE);
    EXPECT_EQ(qlip_OpenLimited(&handle, nullptr, "ra", &limits), QLIP_BAD_ARGUMENT);
    EXPECT_EQ(qlip_OpenLimited(&handle, host.record(), "ra", nullptr), QLIP_BAD_ARGUMENT);
    EXPECT_EQ(qlip_OpenLimited(&handle, host.record(), nullptr, &limits), QLIP_BAD_MODE);
    for (const size_t size : {size_t{0}, sizeof(size_t), size_t{1} << 20}) {
        limits.record_size = size;
        EXPECT_EQ(qlip_OpenLimited(&handle, host.record(), "ra", &limits), QLIP_BAD_ARGUMENT);
    }
    EXPECT_EQ(host.calls, 0U);
    limits.record_size = offsetof(qlip_limits, line);  // an older host's
    EXPECT_EQ(qlip_OpenLimited(&handle, host.record(), "ra", &limits), QLIP_SUCCESS);
    qlip_Close(&handle);
}

// A packet that cites a sample byte by byte takes more of them than opening the file.
TEST(Limits, OfStepsHoldForEachReadAndLeaveTheSessionUsable) {
    MoviePlan plan = speech(3);
    const std::vector<Bytes> bytes(150, hint_sample_data(1, 1, 0));
    plan.tracks.push_back(hint_track({hint_sample({{.constructors = bytes}})}));
    MemoryHost host(build_movie(plan));
    KeptLines limits;
    limits.steps = 100;
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* io = host.record();
    char mode[] = "r";
    iso_file* file = isoFFopenLimited(io, mode, nullptr, &limits);
    ASSERT_NE(file, nullptr);
    Bytes buffer(ISOFF_PACKET_CAPACITY);
    EXPECT_EQ(isoFFrtpPacket(isoFFrtpHinter(file->tracks, 1400), buffer.data()), ISOFF_END);
    EXPECT_EQ(limits.kept.size(), 1U);
    for (const int result : {32, 32, 32, int{ISOFF_END}})
        EXPECT_EQ(isoFFread(file->tracks, buffer.data(), 32, nullptr, nullptr), result);
    isoFFclose(file);
}

TEST(Limits, LinesGoToTheFunctionAndNowhereElse) {
    for (const bool function : {false, true}) {
        for (const uint64_t most : {0, 10}) {
            MemoryHost host(talkative(100));
            KeptLines limits;
            if (!function) limits.line = nullptr;
            limits.lines = most;
            mm_Interface* handle = nullptr;
            syslog_lines().clear();
            testing::internal::CaptureStdout();
            EXPECT_EQ(qlip_OpenLimited(&handle, host.record(), "ra", &limits), QLIP_FAILURE);
            const std::string printed = testing::internal::GetCapturedStdout();
            // Of one kind 64 and the one that tells, then why there is no session; or just as many as
            // allowed.
            const size_t groups = most ? most : 65, expected = most ? most : 66;
            if (!function) {
                EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), groups);
                EXPECT_EQ(syslog_lines().size(), expected - groups);
                continue;
            }
            EXPECT_EQ(printed, "");
            EXPECT_TRUE(syslog_lines().empty());
            ASSERT_EQ(limits.kept.size(), expected);
            EXPECT_EQ(limits.kept[0],
                      std::pair(int{QLIP_LINE_WARNING}, std::string("skipping unknown grouping type: else")));
            EXPECT_EQ(limits.kept[groups - 1].second, "Further lines of this kind are left out");
        }
    }
}

// Of five samples two lie wholly behind the end.
TEST(CutFile, EndsAPositionedTrackBehindTheLastSampleThatIsThere) {
    const auto five = [](size_t bytes) { return std::vector<Bytes>(5, Bytes(bytes, 0x3C)); };
    for (const auto& [track, mode, chunks] : {std::tuple(speech_track(five(32)), "ra", 4U + 2 * 3),
                                              {speech_track(five(24), 1, true), "ra", 4U + 2 * 3},
                                              {video_track("s263", d263(), five(32)), "rv", 1U + 2 * 3}}) {
        const MoviePlan plan = {{track}, true};
        MemoryHost host(build_movie(plan));
        host.bytes.resize(host.bytes.size() - 2 * plan.tracks[0].samples[0].size());
        Player player(host, mode);
        EXPECT_EQ(player.rest().size(), chunks) << mode;
        EXPECT_EQ(player.end, int{QLIP_END_OF_FILE}) << mode;
    }
}

TEST(Lines, OfOneKindAreFewWithoutLimitsToo) {
    const OpenedFile file(talkative(100));
    EXPECT_EQ(std::count(file.output.begin(), file.output.end(), '\n'), 65);
}

TEST(LinesDeathTest, ToAPipeThatNobodyReadsDoNotEndTheProcess) {
    EXPECT_EXIT(
        {
            int ends[2];
            if (pipe(ends) != 0 || close(ends[0]) != 0 || dup2(ends[1], STDOUT_FILENO) < 0) _exit(1);
            std::signal(SIGPIPE, SIG_DFL);
            MemoryHost host(talkative(100));
            mm_Interface* handle = nullptr;
            qlip_Open(&handle, host.record(), "ra");
            sigset_t left;
            sigpending(&left);
            std::exit(sigismember(&left, SIGPIPE) ? 2 : 0);
        },
        testing::ExitedWithCode(0), "");
}
