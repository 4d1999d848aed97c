// What the second reader writes at its two debug levels.
#include <gtest/gtest.h>

#include <algorithm>

#include "qlip/SimpleException.h"
#include "tests/second_reader/reader_support.h"
#include "tests/support/syslog_capture.h"

namespace qlip_test {
namespace {

class Log : public testing::Test {
  public:
    ~Log() override { sx_Debug = 3; }

    static void level(int wanted) {
        sx_Debug = wanted;
        syslog_lines().clear();
    }

    // The lines since then of the reader and the producers, behind a line end. The path is left out where it
    // is the reader's, and is a name alone where it is a producer's.
    static std::string lines() {
        std::string out = "\n";
        for (auto [priority, line] : syslog_lines()) {
            const size_t reader = line.find("interface/src/c3gpinterface("), close = line.find("): ");
            const size_t producer = line.find("propfile/src/"), open = line.find('(');
            if (reader != std::string::npos)
                out += line.erase(reader, close + 3 - reader);
            else if (producer != std::string::npos)
                out += line.erase(open, close + 1 - open).erase(producer, 13);
        }
        return out;
    }
};

// The text with values in place of the names.
std::string filled(std::string text, std::initializer_list<std::pair<std::string, std::string>> values) {
    for (const auto& [name, value] : values)
        for (size_t at; (at = text.find(name)) != std::string::npos;)
            text.replace(at, name.size(), value);
    return text;
}

std::string without_addresses(std::string text) {
    for (const std::string before : {"Context: 0x", "DataPtr: 0x", "Callback=0x", "Context=0x"})
        for (size_t at = 0; (at = text.find(before, at)) != std::string::npos;) {
            at += before.size();
            text.erase(at, text.find_first_not_of("0123456789abcdefABCDEF", at) - at);
        }
    return text;
}

std::string offset(const Bytes& file, size_t track, size_t chunk, unsigned int behind = 0) {
    return std::to_string(chunk_offsets(file, static_cast<unsigned int>(track))[chunk] + behind);
}

// One frame, the step to the next with its table rows, a request for nothing, and the end.
TEST_F(Log, OfReadingTellsEachStep) {
    MoviePlan plan = video_plan(2);
    plan.tracks[kHint].stts = {{1, 9000}, {1, 9000}};
    const Bytes file = build_movie(plan);
    OpenReader open(file, "rv");
    read_chunk(*open.reader, kVideoHeaderBytes - 1, true);
    level(5);
    read_chunk(*open.reader, 0, true);
    read_chunk(*open.reader, 85, true);
    EXPECT_EQ(lines(), filled(R"(
DBG2:0 bytes requested, 1 bytes available
DBG2:Exited while loop.  uToWrite: 0  uBytesAvail: 1
DBG2:propfile_base: Set offset to 91
DBG2:85 bytes requested, 1 bytes available
DBG2:In while loop.  uToWrite: 85  uBytesAvail: 1
DBG2:propfile_base: Set offset to 92
DBG2:In do loop in GetNextFrame()
DBG2:Frame 1   : Retrieving hint sample from offset @h
DBG2:propfile_video: ---Packet 1---

DBG2:propfile_video: constructor_type(8):     2

DBG2:Frame 1   : Media sample 1   : Retrieving media sample from offset @m
DBG2:propfile_base: Padding size: 3
DBG2:propfile_video: FrameSize: 84  FramePad: 3

DBG2:propfile_video: Parsed 32 bytes from the hint track

DBG2:Moving to next SampleToChunk entry at chunk 1.  New SamplesPerChunk: 1
DBG2:Moving to next Chunk entry at sample 2  Current SamplesPerChunk: 1
DBG2:Moving to next TimeToSample entry at sample 2
DBG2:Moving IO Callback file pointer to: @l
DBG2:Exiting GetNextFrame() with valid packet.
DBG2:Exited while loop.  uToWrite: 84  uBytesAvail: 84
DBG2:propfile_base: Set offset to 84
)",
                              {{"@h", offset(file, kHint, 0)},
                               {"@m", offset(file, kMedia, 0)},
                               {"@l", offset(file, kMedia, 0, 41)}}));
    level(5);
    open.host->arrived = 0;
    read_chunk(*open.reader, 84, true);
    sx_Debug = 3;
    open.host->arrived = std::nullopt;
    read_chunk(*open.reader, 84, true);
    sx_Debug = 5;
    read_chunk(*open.reader, 15, true);
    EXPECT_EQ(lines(), filled(R"(
DBG2:84 bytes requested, 0 bytes available
DBG2:In while loop.  uToWrite: 84  uBytesAvail: 0
DBG2:In do loop in GetNextFrame()
DBG2:Frame 2   : Retrieving hint sample from offset @h
DBG2:Exiting GetNextFrame() with valid packet.
DBG2:Waiting for more FIO data...
DBG2:Exited while loop.  uToWrite: 84  uBytesAvail: 0
DBG2:15 bytes requested, 0 bytes available
DBG2:In while loop.  uToWrite: 15  uBytesAvail: 0
DBG2:In do loop in GetNextFrame()
DBG2:Exiting GetNextFrame() due to EOF
DBG2:EOF reached
DBG2:Exited while loop.  uToWrite: 15  uBytesAvail: 0
)",
                              {{"@h", offset(file, kHint, 1)}}));
}

TEST_F(Log, OfFailuresNamesBadContentAndShowsTheHostsCall) {
    MoviePlan plan = video_plan(3);
    plan.tracks[kHint].samples[0] = whole_sample_hint(9, 41, 1);
    OpenReader open(build_movie(plan), "rv");
    level(3);
    open.host->fault = {.slot = Slot::AdvanceRead, .call = 2, .status = 78};
    read_chunk(*open.reader, 1000, true);
    open.host->fault = {.slot = Slot::IndexRead, .call = 4, .status = 77};
    read_chunk(*open.reader, 1000, true);
    EXPECT_EQ(without_addresses(lines()), filled(R"(
WARN:Invalid media sample 9 requested. Only 3 samples in file
WARN:propfile_video: caught uint exception from ProcessPacket(). Rethrowing...
WARN:Received invalid packet exception
ERR: IO Callback Interface AdvanceRead() failed with status: 78.  IO Context: 0x  Offset: @l
ERR: IO Callback Interface IndexRead() failed with status: 77.  IO Context: 0x  DataPtr: 0x  nBytes: 32  Offset: @h
)",
                                                 {{"@h", offset(open.host->bytes, kHint, 2)},
                                                  {"@l", offset(open.host->bytes, kMedia, 1, 42)}}));
}

TEST_F(Log, OfSeekingTellsEachConversion) {
    MoviePlan plan = video_plan(4);
    plan.tracks[kHint].sync = {1, 3};
    plan.tracks[kHint].stts = {{2, 9000}, {2, 4500}};
    plan.tracks[kHint].constant_size = true;
    const Bytes file = build_movie(plan);
    OpenReader open(file, "rv");
    level(5);
    ASSERT_EQ(seek(*open.reader, 260, 0x20001).status, 0U);
    std::string all = lines();  // all but one begin with the class
    for (size_t at; (at = all.find("C3gpInterface::")) != std::string::npos;)
        all.erase(at, 15);
    EXPECT_EQ(all, filled(R"(
DBG: SeekTo - Validating Parameters (nTime=260, fFlags=131073, m_iHintSample=1, m_uFrameTime=0, uTrackDuration=300).
DBG: ConvertMsTimeToMdhdTime - Converted Timecode (ms=260, mdhd=23400).
DBG2:ConvertMdhdTimeToSample - Advancing to next STTS Entry (count=2, delta=9000).
DBG2:ConvertMdhdTimeToSample - Matched STTS Entry (offset=5400, sample=4).
DBG: ConvertMdhdTimeToSample - Coverted MDHD Time to Sample (mdhd=23400, sample=4).
DBG2:GetSyncSample - Track contains STSS Box.
DBG2:GetSyncSample - Comparing Sample to STSS Entry (sample=4, prev=0, cur=1).
DBG2:GetSyncSample - Comparing Sample to STSS Entry (sample=4, prev=1, cur=3).
DBG: GetSyncSample - Calculated Seek Sample (sample=4, seek_sample=3, flags=1).
DBG2:GetTimestampInMs - Advancing to next STSS Entry (count=2, delta=9000).
DBG2:GetTimestampInMs - Converting MDHD Time to MS Time (count=2,delta=4500,mdhd=18000,scale=90000,ms=200).
DBG2:GetTimestampInMs - Setting temp frametime and time-to-samples (ft=18000, tts=0).
DBG: GetTimestampInMs - Converting Sample to Time in MS (sample=3, ms=200).
DBG2:CalcHintOffset - Processing STSC Entry (s=3, fs=1, ls=4, ns=4, fc=1, lc=4, nc=4).
DBG2:CalcHintOffset - Matched STSC Entry (sig=2, sic=0, fsic=3, cig=2, c=3).
DBG2:CalcHintOffset - All hint samples are same size (size=32).
DBG: CalcHintOffset - Calculated Hint Sample File Offset (sample=3, offset=@h, size=32).
DBG2:GetMediaSample - Processing Hint Sample (num_packets=1).
DBG2:GetMediaSample - Found Media Sample (sample=3).
DBG: GetMediaSample - Determined First Media Sample (hint_sample=3, first_media_sample=3).
DBG: CalcMediaOffset - Calculated Media Sample File Offset (sample=3, offset=@m).
DBG: ResetInternals: cur_hint_sample=3, cur_chunk_bytes=0, samples_per_chunk=1, sample_offset_in_chunk=0, chunk=3
DBG: SeekTo - Returning Results (nTime=200, uFrameNum=3, uFileOffset=@m).
)",
                          {{"@h", offset(file, kHint, 2)}, {"@m", offset(file, kMedia, 2)}}));
}

// How many lines of a text were written, and how many that say that there are more.
std::pair<long, long> lines_of(const std::string& text) {
    const auto holding = [](const std::string& part) {
        return std::count_if(syslog_lines().begin(), syslog_lines().end(), [&](const SyslogLine& line) {
            return line.text.find(part) != std::string::npos;
        });
    };
    return {holding(text), holding("Further lines of this kind are left out")};
}

TEST_F(Log, OfOneKindOfFaultEndsAfter64LinesWithOneThatSaysSo) {
    const std::vector<Bytes> bad(1000, hint_sample_data(1, 9, 0));
    MoviePlan audio = audio_plan(2), video = video_plan(100);
    audio.tracks[kHint].samples[0] = hint_sample({{.constructors = bad}});
    for (Bytes& sample : video.tracks[kHint].samples)
        sample = Bytes(32, 0xFF);
    OpenReader listening(build_movie(audio), "ra");
    level(3);
    EXPECT_EQ(read_all(*listening.reader, 1000, false).bytes.size(), kAudioHeaderBytes + 24 + 38U);
    EXPECT_EQ(lines_of("Invalid media sample 9 requested"), std::pair(64L, 1L));

    OpenReader watching(build_movie(video), "rv");
    level(3);
    EXPECT_EQ(read_all(*watching.reader, 1000, false).bytes.size(), kVideoHeaderBytes);
    EXPECT_EQ(lines_of("Received invalid packet exception"), std::pair(64L, 3L));
    EXPECT_EQ(lines_of("Hint sample ends before its content does").first, 64L);

    for (const OpenReader& quiet :
         {OpenReader(build_movie(audio), "ra"), OpenReader(build_movie(video), "rv")}) {
        level(2);
        read_all(*quiet.reader, 1000, false);
        EXPECT_TRUE(syslog_lines().empty());
    }

    level(3);
    for (int i = 0; i < 100; ++i)
        seek(*watching.reader, 0, 0);
    EXPECT_EQ(lines_of("Illegal Seek Flags"), std::pair(64L, 1L));
}

std::string opening(const MoviePlan& plan, const char* mode) {
    sx_Debug = 4;
    syslog_lines().clear();
    OpenReader open(build_movie(plan), mode);
    return without_addresses(Log::lines());
}

TEST_F(Log, OfOpeningTellsWhatWasFound) {
    MoviePlan plan = video_plan(2);
    plan.tracks[kMedia].extra_trak = edts({{500, kEmptyEdit}});
    plan.tracks.push_back(audio_plan(1).tracks[kMedia]);
    plan.tracks.back().id = 8;
    plan.tracks.back().extra_trak = edts({{7, 0}});
    const std::string all = R"(
DBG: Switch [r] found
DBG: Switch [v] found
DBG: Read3gpBoxes(): m_pIOCallback=0x, m_pIOCallback->pUserContext=0x
DBG: Reading 3gp boxes from file
DBG: Reading 3gp boxes complete
DBG: Found 3gp major brand: 0x36706733
DBG: Found video track
DBG: Found Hint track
DBG: Hint track ID 2 is associated with track ID 1
DBG: Found audio track
DBG: video track ID: 1
DBG: Found 2 media samples and 2 hint samples
DBG: Allocating 42 bytes for media sample buffer
DBG: Allocating 8 bytes for media sample offset buffer
DBG: Allocating 32 bytes for hint sample buffer
DBG: Chunks counted: 2  Samples counted: 2
DBG: Video timescale: 90000
DBG: Video duration: 200 MS
DBG: @c Video codec found
DBG: Video frame count: 2
DBG: Video FPS: 10.000000  Duration: 200  Bitrate: 3320
DBG: VideoNTS: 45000  In 3gp file: 500  timescale_mvhd: 1000  ClockFreq: 90000
DBG: AudioNTS: 500  In 3gp file: 500  timescale_mvhd: 1000  ClockFreq: 1000
DBG: Creating @c object
DBG: Opening video object
DBG: propfile_video_@p: Codec header size: @b
DBG: propfile_video: Allocating 65536 bytes for video frame
DBG: propfile_video_@p: Setting up @c headers
)";
    EXPECT_EQ(opening(plan, "rV"), filled(all, {{"@c", "H263_1998"}, {"@p", "h263_1998"}, {"@b", "8"}}));
    plan.tracks[kHint].samples[0][9] = 34;  // payload type
    EXPECT_EQ(opening(plan, "rv"), filled(all, {{"@c", "H263"}, {"@p", "h263"}, {"@b", "8"}}));
    plan.tracks[kMedia].sample_entry = visual_entry("mp4v", 176, 144, esds(hex("000001b0")));
    EXPECT_EQ(opening(plan, "rv"), filled(all, {{"@c", "MPEG4"}, {"@p", "mpeg4"}, {"@b", "356"}}));
    EXPECT_TRUE(opening(audio_plan(2), "ra").ends_with(R"(
DBG: Chunks counted: 2  Samples counted: 2
DBG: Audio frame count: 2
DBG: Audio timescale: 8000  Audio bitrate: 12200
DBG: propfile_audio: Allocating 1568 bytes for audio frame
)"));
}

}  // namespace
}  // namespace qlip_test
