// What the producers write to the system log.
#include <stdexcept>

#include "tests/second_reader/producers/producer_rig.h"
#include "tests/support/syslog_capture.h"

namespace qlip_test {
namespace {

constexpr const char* kForeignInAudio =
    "WARN:propfile_audio: caught unexpected UInt32 exception from ProcessPacket(). Rethrowing...\n";
constexpr const char* kForeignInVideo =
    "WARN:propfile_video: caught uint exception from ProcessPacket(). Rethrowing...\n";

// A producer whose no-op constructor throws what it was given.
template <class Producer, class Thrown>
class Throwing : public Producer {
  public:
    Throwing(C3gpInterface* owner, Thrown what) : Producer(owner), what_(what) {}
    unsigned int ProcessRTPnoopconstructor(const unsigned char**) override { throw what_; }

  private:
    Thrown what_;
};

class ProducerLog : public ::testing::Test, protected Producers {
  protected:
    ~ProducerLog() override { sx_Debug = 3; }

    void level(int wanted) {
        sx_Debug = wanted;
        syslog_lines().clear();
    }

    // All that was written since then, without line numbers and the directory.
    static std::string text() {
        std::string out;
        for (auto [priority, line] : syslog_lines()) {
            const size_t path = line.find("propfile/src/"), number = line.find('('), end = line.find("): ");
            if (path == 5) line.erase(number, end + 1 - number).erase(path, 13);
            out += line;
        }
        return out;
    }

    // What it wrote while it built a frame and its constructor threw `what`.
    template <class Producer, class Thrown, class Params>
    std::string thrown(Thrown what, Params params) {
        Throwing<Producer, Thrown> producer(&reader, what);
        producer.Open(&params);
        syslog_lines().clear();
        reader.build(producer, hint_sample({{.constructors = {hint_no_data()}}}));
        return text();
    }
};

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
    video.OffsetBytes(48);
    EXPECT_EQ(std::string("\n").append(text()), R"(
packetcount: 1
DBG2:propfile_video: ---Packet 1---

relative_time(32):       0x00000000
RTPheader(16):           0x00A2
  P_bit:                 0x0
  X_bit:                 0x0
  M_bit:                 0x1
  payload_type:          0x22
RTPsequenceseed(16):     0x0102
RTPflags(16):            0x0004
  extra_flag:            0x1
  bframe_flag:           0x0
  repeat_flag:           0x0
entrycount(16):          4
extra_information_length(32): 5
DBG2:propfile_video: constructor_type(8):     0

RTPnoopconstructor
DBG2:propfile_video: constructor_type(8):     1

RTPimmediateconstructor
count(8):                2
  padding:               12
  data: 0A F0 
DBG2:propfile_video: constructor_type(8):     2

RTPsampleconstructor
trackrefindex(8):        9
length(16):              3
samplenumber(32):        1
sampleoffset(32):        0
bytesperblock(16):       1
samplesperblock(16):     1
DBG2:propfile_video: constructor_type(8):     3

RTPsampledescriptionconstructor
trackrefindex(8):        4
length(16):              5
sampledescriptionindex(32): 6
sampledescriptionoffset(32): 7
DBG2:propfile_base: Padding size: 3
DBG2:propfile_video: FrameSize: 48  FramePad: 3

DBG2:propfile_video: Parsed 85 bytes from the hint track

DBG2:propfile_base: Set offset to 48
)");
}

TEST_F(ProducerLog, NamesBadContent) {
    reader.show_media(hex("AABBCC"));
    level(3);
    reader.build(video, hint_sample({{.constructors = {hint_sample_data(4, 1, 0)}}}));
    reader.build(video, {});
    reader.build(video, hint_sample(std::vector<HintPacket>(100)));
    const std::string base = "WARN:propfile_base: ", line = kForeignInVideo;
    EXPECT_EQ(text(), base + "Hint sample reaches beyond the buffer of media sample 1\n" + line + base +
                          "Hint sample ends before its content does\n" + line + base +
                          "Frame does not fit its buffer of 2000 bytes\n" + line);
}

// A foreign signal shows once for the constructor, in audio, and once for the frame. To the constructor the
// wait is a signal like any other.
TEST_F(ProducerLog, TellsOfSignals) {
    const std::string audio_line = kForeignInAudio;
    level(3);
    EXPECT_EQ(thrown<PropFileAudio>(7U, amr_params()), audio_line + kForeignInAudio);
    EXPECT_EQ(thrown<PropFileAudio>(kNotThereYet, amr_params()), audio_line);
    EXPECT_EQ(thrown<PropFileVideoH263>(7U, video_params()), kForeignInVideo);
    level(5);
    EXPECT_TRUE(thrown<PropFileVideoH263>(kNotThereYet, video_params())
                    .ends_with("DBG2:propfile_video: Waiting for more FIO data...\n"));
    EXPECT_TRUE(thrown<PropFileAudio>(kNotThereYet, amr_params())
                    .ends_with("DBG2:propfile_audio: Waiting for more FIO data...\n"));
    EXPECT_THAT(
        thrown<PropFileAudio>(kBadContent, amr_params()),
        ::testing::HasSubstr("\nDBG2:propfile_audio: Dropped Hint Track Sample due to invalid content\n"));
}

TEST_F(ProducerLog, PassesExceptionsOnAsItsOwnKind) {
    const SimpleException own("here", 1, "own");
    const std::runtime_error foreign("foreign");
    level(4);
    EXPECT_EQ(message_of([&] { thrown<PropFileAudio>(own, amr_params()); }), "own");
    EXPECT_EQ(text(), "DBG: here(1): own\n");
    EXPECT_EQ(message_of([&] { thrown<PropFileVideoH263>(own, video_params()); }), "own");
    EXPECT_EQ(text(), "DBG: here(1): own\n");
    EXPECT_EQ(message_of([&] { thrown<PropFileAudio>(foreign, amr_params()); }),
              "Unhandled exception caught");
    EXPECT_EQ(message_of([&] { thrown<PropFileVideoH263>(foreign, video_params()); }),
              "Unhandled exception caught");
}

}  // namespace
}  // namespace qlip_test
