// Opening: modes, refusals with their status and log line, and opening again.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "qlip/SimpleException.h"
#include "tests/second_reader/reader_support.h"
#include "tests/support/samples.h"
#include "tests/support/syslog_capture.h"

namespace qlip_test {
namespace {

constexpr const char* kAv = "av_h263_amrnb_hinted.3gp";

class Open : public testing::Test {
  protected:
    Open() { syslog_lines().clear(); }
    ~Open() override {
        sx_Debug = 3;
        unsetenv("QLIP_LOG_DEBUG");
        unsetenv("QLIP_LOG_DEBUG_VERBOSE");
    }
    static bool logged(const std::string& prefix, const std::string& message) {
        return std::any_of(syslog_lines().begin(), syslog_lines().end(), [&](const SyslogLine& line) {
            return line.text.starts_with(prefix + "interface/src/c3gpinterface(") &&
                   line.text.ends_with("): " + message + "\n");
        });
    }
    static unsigned int reopen(OpenReader& open, const Bytes& file, const char* mode) {
        EXPECT_EQ(open.reader->Close(), 0U);
        open.host->bytes = file;
        open.host->position = 0;
        return open.reader->Open(open.host->record(), mode);
    }
};

struct ModeCase {
    const char* mode;
    unsigned int status;
    const char* shows;  // start of the stream, or the error line
};

TEST_F(Open, ChoosesTheTrackByModeOrRefusesItAndMayBeTriedAgain) {
    for (const auto& [mode, status, shows] : {ModeCase{"rv", 0, "VIDEO"},
                                              {"VR", 0, "VIDEO"},
                                              {"avr", 0, "VIDEO"},
                                              {"var", 0, "AUDIO"},
                                              {"rraaR", 0, "AUDIO"},
                                              {"ra v", 7, "Invalid/unsupported mode switch [ ] specified"},
                                              {"rW", 7, "Invalid/unsupported mode switch [w] specified"},
                                              {"", 7, "Mode not specified"},
                                              {"r", 7, "Mode not specified"},
                                              {"A", 7, "Direction not specified"},
                                              {nullptr, 7, "Mode not specified"}}) {
        MemoryHost host(sample(kAv));
        C3gpInterface reader;
        syslog_lines().clear();
        ASSERT_EQ(reader.Open(host.record(), mode), status);
        if (status == 0) {
            EXPECT_EQ(read_chunk(reader, 5).bytes, Bytes(shows, shows + 5));
            EXPECT_EQ(host.position, 0U);
            continue;
        }
        EXPECT_TRUE(host.log.empty());
        EXPECT_TRUE(logged("ERR: ", shows));
        EXPECT_EQ(reader.Open(host.record(), "ra"), 0U);
    }
}

struct Refusal {
    std::string name;
    const char* mode;
    unsigned int status;
    std::string message;
    Bytes file;
    unsigned int frame_bytes = 65536;
};

// The av sample with a box renamed: its n-th in the file.
Bytes without(const std::string& type, unsigned int n, size_t behind = 0) {
    Bytes file = sample(kAv);
    file[find_box(file, type, n) + behind] = 'X';
    return file;
}

Bytes with_entry(const Bytes& entry) {
    MoviePlan plan = audio_plan(2);
    plan.tracks[kMedia].sample_entry = entry;
    return build_movie(plan);
}

// With a word of the n-th such box changed.
Bytes with_word(const MoviePlan& plan, const char* type, unsigned int n, size_t offset, unsigned int value) {
    Bytes file = build_movie(plan);
    set_u32(file, find_box(file, type, n) + offset, value);
    return file;
}

std::vector<Refusal> refusals() {
    MoviePlan elsewhere = video_plan(2), two = video_plan(2), constant = audio_plan(3);
    elsewhere.tracks[kHint].hint_reference = 7;
    two.tracks.push_back(two.tracks[kMedia]);
    two.tracks.back().id = 9;
    for (auto& track : constant.tracks)
        track.constant_size = true;
    std::vector<Refusal> rows = {
        {"no_hint_reference", "rv", 4, "Could not find hint box", without("tref", 0, 8)},
        {"aac", "ra", 12, "audio track ID 2 does not have a hint track.", sample("mpeg4_with_aac.3gp")},
        {"no_audio", "ra", 14, "File does not contain audio track", sample("h263_hinted_pt34.3gp")},
        {"no_video", "rv", 14, "File does not contain video track", sample("amrnb_hinted.3gp")},
        {"hint_elsewhere", "rv", 12, "video track ID 1 does not have a hint track.", build_movie(elsewhere)},
        {"two_video_tracks", "rv", 11, "Too many video tracks found", build_movie(two)},
        {"h264", "rv", 15, "Unknown / unsuppoorted video codec found", sample("h264_hinted.3gp")},
        {"video_clock_0", "rv", 4, "Undefined video timescale in source file",
         with_word(video_plan(2), "mdhd", 1, 16, 0)},
        {"audio_clock_0", "ra", 4, "Error: Undefined sound timescale in source file",
         with_word(audio_plan(2), "mdhd", 0, 16, 0)},
        {"no_sample_entry", "ra", 2, "Audio codec information not found",
         with_word(audio_plan(2), "stsd", 0, 8, 0)},
        {"wideband", "ra", 2, "Unsupported audio coder type found", with_entry(sawb_entry())},
        {"no_damr", "ra", 4, "Could not find damr box", with_entry(samr_entry({}))},
        {"a_sample_larger_than_the_file", "ra", 6, "Unable to allocate buffer for media sample",
         with_word(audio_plan(3), "stsz", 0, 16, 0xFFFFFFF0)},
        {"a_hint_sample_larger_than_the_file", "ra", 6, "Unable to allocate buffer for hint sample",
         with_word(audio_plan(3), "stsz", 1, 16, 0x7FFFFFF0)},
        {"more_samples_than_bytes", "ra", 6, "Unable to allocate memory for sample offset table",
         with_word(constant, "stsz", 0, 12, 0xFFFFFFFF)},
        {"one_sample_more_than_is_taken_unseen", "ra", 6, "Unable to allocate memory for sample offset table",
         with_word(constant, "stsz", 0, 12, 65537)},
        {"more_hint_samples_than_bytes", "ra", 4, "The file has no room for 65537 hint samples",
         with_word(constant, "stsz", 1, 12, 65537)},
        {"frame_buffer_too_small", "rv", 2, "", sample("h263_hinted_pt34.3gp"), 91},
    };
    // Boxes of the track, of another one, and of its hint track: type, and the how many-th in the file.
    for (const std::string box : {"ftyp0", "moov0", "mdia1", "hdlr1", "tkhd1", "tkhd2", "tref0", "minf0",
                                  "mdhd2", "stbl0", "stts0", "stsz0", "stsc0", "stco2", "stsd0"}) {
        const std::string type = box.substr(0, 4);
        rows.push_back(
            {"no_" + box, "rv", 4, "Could not find " + type + " box", without(type, box[4] - '0')});
    }
    return rows;
}

class Refusals : public Open, public testing::WithParamInterface<Refusal> {};

INSTANTIATE_TEST_SUITE_P(Table, Refusals, testing::ValuesIn(refusals()),
                         [](const auto& test) { return test.param.name; });

TEST_P(Refusals, EndWithTheirStatusAndLineAndLeaveAnObjectToClose) {
    const auto& [name, mode, status, message, file, frame_bytes] = GetParam();
    OpenReader open(file, mode, status, frame_bytes);
    EXPECT_TRUE(message.empty() || logged("ERR: ", message));
    EXPECT_EQ(open.reader->Open(open.host->record(), mode), 9U);
    // What there is of a track cannot be used, and nothing breaks on it.
    const Delivery chunk = read_chunk(*open.reader, 1000, true);
    EXPECT_NE(chunk.status, 0U);
    EXPECT_EQ(chunk.bytes, Bytes{});
    _TAG_QLIP_SEEK_PARAMS to{0, 0, 0, 0, 0x20001};
    open.reader->SeekTo(&to);
    EXPECT_NE(read_chunk(*open.reader, 1000, true).status, 0U);
    EXPECT_EQ(open.reader->Close(), 0U);
    EXPECT_EQ(read_chunk(*open.reader, 1000).status, 8U);
}

// The host's record is looked at behind the mode; a closed object leaves the arguments alone.
TEST_F(Open, RefusesNullArgumentsOfAnOpenObjectAndAnyOfAClosedOne) {
    MemoryHost host(build_movie(audio_plan(2)));
    C3gpInterface reader;
    unsigned char byte = 0;
    unsigned int size = 77;
    EXPECT_EQ(reader.ReadChunk(&byte, &size, false), 8U);
    EXPECT_EQ(size, 77U);
    EXPECT_EQ(reader.ReadChunk(nullptr, nullptr, false), 8U);
    EXPECT_EQ(reader.SeekTo(nullptr), 8U);
    EXPECT_EQ(reader.Open(nullptr, "x"), 7U);
    EXPECT_EQ(reader.Open(nullptr, "ra"), 13U);
    EXPECT_EQ(reader.Open(nullptr, "ra"), 9U);
    EXPECT_EQ(reader.Close(), 0U);
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE record = *host.record();
    record.AdvanceRead = nullptr;
    EXPECT_EQ(reader.Open(&record, "ra"), 13U);
    EXPECT_TRUE(host.log.empty());
    EXPECT_EQ(reader.Close(), 0U);

    ASSERT_EQ(reader.Open(host.record(), "ra"), 0U);
    EXPECT_EQ(reader.ReadChunk(nullptr, &size, false), 13U);
    EXPECT_EQ(size, 0U);
    EXPECT_EQ(reader.ReadChunk(nullptr, &size, false), 0U);
    EXPECT_EQ(reader.ReadChunk(&byte, nullptr, false), 13U);
    EXPECT_EQ(reader.SeekTo(nullptr), 13U);
    EXPECT_EQ(read_all(reader, 50, false).bytes.size(), kAudioHeaderBytes + 2 * 38U);
}

TEST_F(Open, TakesTheLogLevelFromTheEnvironmentBeforeAnythingElse) {
    const std::string debug = "Libqlip: Set log level to DEBUG";
    struct {
        const char *debug, *verbose;
        int level;
    } const cases[] = {{"10", "yes", 3}, {"1", "0", 4}, {"", "1", 5}, {"1", "1", 5}};
    for (const auto& c : cases) {
        sx_Debug = 3;
        syslog_lines().clear();
        setenv("QLIP_LOG_DEBUG", c.debug, 1);
        setenv("QLIP_LOG_DEBUG_VERBOSE", c.verbose, 1);
        C3gpInterface().Open(nullptr, "");
        EXPECT_EQ(sx_Debug, c.level);
        EXPECT_EQ(logged("", debug), std::string(c.debug) == "1");
        EXPECT_EQ(logged("", debug + "_VERBOSE"), c.level == 5);
    }
}

TEST_F(Open, ReadsFromTheHostsPosition) {
    MemoryHost host(build_movie(video_plan(1)));
    host.position = static_cast<unsigned int>(find_box(host.bytes, "mdat") - 4);
    EXPECT_EQ(C3gpInterface().Open(host.record(), "rv"), 4U);
    EXPECT_TRUE(logged("ERR: ", "Could not find ftyp box"));
}

// Entries of the file before count as tracks, but point to nothing.
TEST_F(Open, AgainAfterCloseStillCountsTheTracksOfTheFileBefore) {
    OpenReader open(sample(kAv), "rv");
    for (const char* name : {"mpeg4_hinted.3gp", "h263_hinted_pt34.3gp"}) {  // of the same track numbers
        ASSERT_EQ(reopen(open, sample(name), "rv"), 0U);
        // A single hint sample size is walked behind the old ones; see below.
        EXPECT_EQ(word_at(read_chunk(*open.reader, 12).bytes, 8),
                  word_at(whole_stream(sample(name), "rv"), 8));
    }
    EXPECT_EQ(reopen(open, sample("h263_hinted_pt34.3gp"), "ra"), 14U);
    MoviePlan plan = audio_plan(2);
    plan.tracks[kMedia].id = plan.tracks[kHint].hint_reference = 5;
    EXPECT_EQ(reopen(open, build_movie(plan), "ra"), 11U);
}

// A single hint sample size is appended, so that the old one is still in front: the first sample is read with
// the size of the file before, and the walk goes by two sizes.
TEST_F(Open, AgainAfterCloseWalksASingleHintSampleSizeBehindTheOldOne) {
    MoviePlan plan = audio_plan(3);
    for (auto& track : plan.tracks)
        track.constant_size = true;
    OpenReader open(build_movie(plan), "ra");
    ASSERT_EQ(reopen(open, build_movie(plan), "ra"), 0U);
    EXPECT_EQ(read_chunk(*open.reader, kAudioHeaderBytes + 38).status, 0U);
    EXPECT_EQ(read_chunk(*open.reader, 38), (Delivery{2, {}}));
    EXPECT_TRUE(logged("ERR: ", "AUDIO: Iterated off the end of the sample size table!"));
}

}  // namespace
}  // namespace qlip_test
