// What the producers write to the system log.
#include <stdexcept>

#include "tests/propfile/producer_rig.h"
#include "tests/support/syslog_capture.h"

namespace qlip_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A producer whose no-op constructor throws what it was given.
template <class Producer, class Thrown>
class Throwing : public Producer {
  public:
    Throwing(C3gpInterface* owner, Thrown what) : Producer(owner), what_(what) {}
    unsigned int ProcessRTPnoopconstructor(const unsigned char**) override { throw what_; }

  private:
    Thrown what_;
};

class ProducerLog : public ::testing::Test {
  protected:
    ProducerLog() { audio.Open(&audio_parameters), video.Open(&video_parameters); }
    ~ProducerLog() override { sx_Debug = 3; }

    void level(int wanted) {
        sx_Debug = wanted;
        syslog_lines().clear();
    }

    // The lines since then. Those with a position come without its line number and without their line end.
    static std::vector<std::string> lines() {
        std::vector<std::string> out;
        for (const auto& line : syslog_lines())
            out.push_back(without_line_number(line.text));
        return out;
    }

    static std::string without_line_number(const std::string& text) {
        const size_t open = text.find('('), close = text.find("): ");
        const bool placed =
            close != std::string::npos && (text.starts_with("DBG") || text.starts_with("WARN:"));
        return placed ? text.substr(0, open) + text.substr(close + 1, text.size() - close - 2) : text;
    }

    template <class Producer, class Thrown, class Params>
    void build_throwing(Thrown what, Params params) {
        Throwing<Producer, Thrown> producer(&reader, what);
        producer.Open(&params);
        syslog_lines().clear();
        reader.build(producer, hint_sample({{.constructors = {hint_no_data()}}}));
    }

    ReaderStub reader;
    PropFileAudio audio{&reader};
    PropFileVideoH263 video{&reader};
    _TAG_AUDIO_OPEN_PARAMS audio_parameters = amr_params();
    _TAG_VIDEO_OPEN_PARAMS video_parameters = video_params();
};

TEST_F(ProducerLog, TellsOfOpening) {
    level(4);
    audio.Open(&audio_parameters);
    PropFileVideoH263_1998(nullptr).Open(&video_parameters);
    EXPECT_THAT(lines(),
                ElementsAre("DBG: propfile/src/propfile_audio: Allocating 1568 bytes for audio frame",
                            "DBG: propfile/src/propfile_video_h263_1998: Codec header size: 8",
                            "DBG: propfile/src/propfile_video: Allocating 2000 bytes for video frame",
                            "DBG: propfile/src/propfile_video_h263_1998: Setting up H263_1998 headers"));
}

TEST_F(ProducerLog, DumpsAVideoFrame) {
    reader.show_media(hex("AABBCC"));
    const Bytes description = ByteWriter().u8(3).u8(4).u16(5).u32(6).u32(7).u32(8);
    level(5);
    reader.build(video, hint_sample({{.sequence = 0x102,
                                      .marker = true,
                                      .payload_type = 34,
                                      .constructors = {hint_no_data(), hint_immediate(hex("0AF0")),
                                                       hint_sample_data(3, 1, 0, 9), description},
                                      .extra = hex("00")}}));
    EXPECT_THAT(
        lines(),
        ElementsAre(
            "packetcount: 1\n", "DBG2:propfile/src/propfile_video: ---Packet 1---\n",
            "relative_time(32):       0x00000000\nRTPheader(16):           0x00A2\n"
            "  P_bit:                 0x0\n  X_bit:                 0x0\n  M_bit:                 0x1\n"
            "  payload_type:          0x22\n",
            "RTPsequenceseed(16):     0x0102\nRTPflags(16):            0x0004\n"
            "  extra_flag:            0x1\n  bframe_flag:           0x0\n  repeat_flag:           0x0\n"
            "entrycount(16):          4\n",
            "extra_information_length(32): 5\n",
            "DBG2:propfile/src/propfile_video: constructor_type(8):     0\n", "RTPnoopconstructor\n",
            "DBG2:propfile/src/propfile_video: constructor_type(8):     1\n", "RTPimmediateconstructor\n",
            "count(8):                2\n", "  padding:               12\n", "  data: ", "0A ", "F0 ", "\n",
            "DBG2:propfile/src/propfile_video: constructor_type(8):     2\n", "RTPsampleconstructor\n",
            "trackrefindex(8):        9\nlength(16):              3\nsamplenumber(32):        1\n"
            "sampleoffset(32):        0\nbytesperblock(16):       1\nsamplesperblock(16):     1\n",
            "DBG2:propfile/src/propfile_video: constructor_type(8):     3\n",
            "RTPsampledescriptionconstructor\n",
            "trackrefindex(8):        4\nlength(16):              5\nsampledescriptionindex(32): 6\n"
            "sampledescriptionoffset(32): 7\n",
            "DBG2:propfile/src/propfile_base: Padding size: 3",
            "DBG2:propfile/src/propfile_video: FrameSize: 48  FramePad: 3\n",
            "DBG2:propfile/src/propfile_video: Parsed 85 bytes from the hint track\n"));
    level(5);
    drain(video);
    EXPECT_THAT(lines(), ElementsAre("DBG2:propfile/src/propfile_base: Set offset to 48"));
}

TEST_F(ProducerLog, TellsOfAnAudioFrame) {
    level(5);
    reader.build(audio, hint_sample({{.constructors = {hint_no_data()}}}));
    const auto all = lines();
    ASSERT_EQ(all.size(), 8U);
    EXPECT_EQ(all[6], "DBG2:propfile/src/propfile_audio: Packet contains 0 bytes");
    EXPECT_EQ(all[7].substr(34), "Parsed 32 bytes from the hint track.  Audio Framesize: 24\n");
}

TEST_F(ProducerLog, NamesBadContent) {
    reader.show_media(hex("AABBCC"));
    level(3);
    reader.build(video, hint_sample({{.constructors = {hint_sample_data(4, 1, 0)}}}));
    reader.build(video, {});
    reader.build(video, hint_sample(std::vector<HintPacket>(100)));
    EXPECT_THAT(
        lines(),
        ElementsAre(
            "WARN:propfile/src/propfile_base: Hint sample reaches beyond media sample 1",
            "WARN:propfile/src/propfile_video: caught uint exception from ProcessPacket(). Rethrowing...",
            "WARN:propfile/src/propfile_base: Hint sample ends before its content does",
            "WARN:propfile/src/propfile_video: caught uint exception from ProcessPacket(). Rethrowing...",
            "WARN:propfile/src/propfile_base: Frame does not fit its buffer of 2000 bytes",
            "WARN:propfile/src/propfile_video: caught uint exception from ProcessPacket(). Rethrowing..."));
}

TEST_F(ProducerLog, TellsOfWaitsAndDroppedConstructors) {
    constexpr const char* kWaiting = "Waiting for more FIO data...";
    level(5);
    build_throwing<PropFileVideoH263>(kNotThereYet, video_params());
    EXPECT_EQ(lines().back(), std::string("DBG2:propfile/src/propfile_video: ") + kWaiting);
    build_throwing<PropFileAudio>(kNotThereYet, amr_params());
    EXPECT_EQ(lines().back(), std::string("DBG2:propfile/src/propfile_audio: ") + kWaiting);
    build_throwing<PropFileAudio>(kBadContent, amr_params());
    EXPECT_THAT(lines(), ::testing::Contains("DBG2:propfile/src/propfile_audio: "
                                             "Dropped Hint Track Sample due to invalid content"));
}

// Once for the constructor and once for the frame; the wait is a signal like any other to the former.
TEST_F(ProducerLog, TellsOfForeignSignals) {
    constexpr const char* kLine =
        "WARN:propfile/src/propfile_audio: caught unexpected UInt32 exception from ProcessPacket(). "
        "Rethrowing...";
    level(3);
    build_throwing<PropFileAudio>(7U, amr_params());
    EXPECT_THAT(lines(), ElementsAre(kLine, kLine));
    build_throwing<PropFileAudio>(kNotThereYet, amr_params());
    EXPECT_THAT(lines(), ElementsAre(kLine));
}

TEST_F(ProducerLog, PassesExceptionsOnAsItsOwnKind) {
    const SimpleException own("here", 1, "own");
    level(4);
    EXPECT_EQ(refusal([&] { build_throwing<PropFileVideoH263>(own, video_params()); }), "own");
    EXPECT_EQ(lines().back(), "DBG: here: own");
    EXPECT_EQ(refusal([&] { build_throwing<PropFileAudio>(own, amr_params()); }), "own");
    const std::runtime_error foreign("foreign");
    EXPECT_EQ(refusal([&] { build_throwing<PropFileVideoH263>(foreign, video_params()); }),
              "Unhandled exception caught");
    EXPECT_EQ(refusal([&] { build_throwing<PropFileAudio>(foreign, amr_params()); }),
              "Unhandled exception caught");
}

}  // namespace
}  // namespace qlip_test
