// The mode string, the choice of the track, and what is logged when there is none.
#include <gtest/gtest.h>

#include "qlip/SimpleException.h"
#include "session/session.h"
#include "tests/support/movie_builder.h"
#include "tests/support/syslog_capture.h"

using namespace qlip_test;

namespace {

TrackPlan numbered(unsigned int id, TrackPlan track) {
    track.id = id;
    return track;
}

TrackPlan narrowband(unsigned int id) {
    return numbered(id, speech_track({Bytes(32, 0x3C)}));
}

TrackPlan wideband(unsigned int id) {
    return numbered(id, speech_track({Bytes(61, 0x44)}, 1, true));
}

TrackPlan aac(unsigned int id) {
    return {.id = id, .samples = {Bytes(40, 0x11)}, .sample_entry = box("mp4a", ByteWriter().zeros(28))};
}

TrackPlan visual(unsigned int id, const char* type) {
    return numbered(id, video_track(type, {}, {Bytes(40, 0x22)}));
}

TrackPlan hint(unsigned int id, unsigned int media) {
    TrackPlan track = numbered(id, hint_track({hint_sample({})}));
    track.hint_reference = media;
    return track;
}

// Opens; keeps the chosen track id, or 0.
struct Opened {
    int status = -1;
    unsigned int track_id = 0;
    int codec = ISO_CODEC_NONE;
    std::string log;

    Opened(const std::vector<TrackPlan>& tracks, const char* mode) {
        MemoryHost host(build_movie({.tracks = tracks}));
        syslog_lines().clear();
        mm_Interface* handle = nullptr;
        status = qlip_Open(&handle, host.record(), mode);
        if (handle != nullptr) track_id = handle->track->track_id, codec = handle->track->codec;
        EXPECT_EQ(handle != nullptr, status == 0);
        qlip_Close(&handle);
        for (const SyslogLine& line : syslog_lines()) {
            EXPECT_EQ(line.priority, 3);
            log += line.text;
        }
    }
};

// The message of a log line without its place.
std::string message_of(const std::string& line) {
    const size_t colon = line.find("): ");
    return colon == std::string::npos ? line : line.substr(colon + 3);
}

}  // namespace

TEST(Open, RefusalsNameWhatIsWrong) {
    const std::vector<TrackPlan> speech = {narrowband(1)}, video_and_hint = {visual(1, "s263"), hint(2, 1)};
    const struct {
        std::vector<TrackPlan> tracks;
        const char* mode;
        int status;
        const char* text;
    } kCases[] = {
        {speech, "", 7, "Mode not specified\n"},
        {speech, "r", 7, "Mode not specified\n"},
        {speech, "a", 7, "Direction not specified\n"},
        {speech, "V", 7, "Direction not specified\n"},
        {speech, "rx", 7, "Invalid/unsupported mode switch [x] specified\n"},
        {speech, "RX", 7, "Invalid/unsupported mode switch [x] specified\n"},
        {speech, "ra ", 7, "Invalid/unsupported mode switch [ ] specified\n"},
        {speech, "r\xE9", 7, "Invalid/unsupported mode switch [\xE9] specified\n"},
        {{aac(1)}, "ra", 2, "Unsupported track: AAC.\n"},
        {{visual(1, "s263"), aac(2)}, "ra", 2, "Unsupported track: AAC.\n"},
        {video_and_hint, "ra", 2, "Valid audio track (AMR-NB, AMR-WB) not found.\n"},
        {{aac(1)}, "rv", 2, "Valid video track (MPEG4, H263, H264) not found.\n"},
        {{hint(1, 9)}, "rv", 2, "Valid video track (MPEG4, H263, H264) not found.\n"},
    };
    for (const auto& [tracks, mode, status, text] : kCases) {
        SCOPED_TRACE(text);
        const Opened opened(tracks, mode);
        EXPECT_EQ(opened.status, status);
        EXPECT_EQ(opened.log.rfind("ERR: interface/src/mmfiInterface(", 0), 0U) << opened.log;
        EXPECT_EQ(message_of(opened.log), text);
    }
}

TEST(Mode, LogLevelDecidesHowOftenARefusalIsLogged) {
    const int before = sx_Debug;
    sx_Debug = 1;
    EXPECT_EQ(Opened({narrowband(1)}, "r").log, "");
    sx_Debug = 4;
    const std::string log = Opened({narrowband(1)}, "r").log;
    sx_Debug = before;
    EXPECT_EQ(log.rfind("DBG: interface/src/mmfiInterface(", 0), 0U) << log;
    EXPECT_NE(log.find("ERR: interface/src/mmfiInterface("), std::string::npos) << log;
}

TEST(Mode, LettersComeInAnyCaseAndOrderAndTheLastMediumCounts) {
    const std::vector<TrackPlan> tracks = {narrowband(1), visual(2, "s263")};
    for (const char* mode : {"ra", "AR", "aR", "rva", "rrraaa"})
        EXPECT_EQ(Opened(tracks, mode).track_id, 1U) << mode;
    for (const char* mode : {"rv", "VR", "rav", "avr"})
        EXPECT_EQ(Opened(tracks, mode).track_id, 2U) << mode;
    mm_Interface session = {};
    EXPECT_EQ(mmfiParseModeInfo(&session, "rv"), 1);
    EXPECT_THROW(mmfiParseModeInfo(&session, "a"), SimpleException) << "what was said before counts no more";
}

TEST(Track, TheLastAcceptableOneIsChosen) {
    EXPECT_EQ(Opened({wideband(1), narrowband(2), aac(3)}, "ra").track_id, 2U);
    EXPECT_EQ(Opened({narrowband(1), wideband(2)}, "ra").track_id, 2U);
    EXPECT_EQ(Opened({visual(1, "mp4v"), visual(2, "s263")}, "rv").track_id, 2U);
    EXPECT_EQ(Opened({visual(1, "s263"), visual(2, "s263"), narrowband(3)}, "rv").track_id, 2U);
    EXPECT_EQ(Opened({visual(1, "s263"), hint(2, 1)}, "rv").track_id, 1U);
    const Opened equal_ids({visual(7, "s263"), narrowband(7), wideband(7)}, "ra");
    EXPECT_EQ(equal_ids.codec, ISO_CODEC_SAMR) << "of equal ids the first acceptable one";
}
