// Playback of hint tracks.
#include <gmock/gmock.h>

#include <array>

#include "common/byte_order.h"
#include "iso/play/armed_hint.h"
#include "tests/iso/opened_file.h"

namespace qlip_test {
namespace {

using qlip::load_be32;
using Packets = std::vector<Bytes>;

// A media track of `count` samples of four bytes, and a hint track with the given samples.
MoviePlan hinted(const std::vector<Bytes>& hint_samples, unsigned int count = 8) {
    TrackPlan media{.handler = "vide", .id = 1, .sample_entry = visual_entry("s263", 16, 16, d263())};
    for (unsigned int i = 0; i < count; ++i)
        media.samples.push_back(ByteWriter().u32(0xA0000000 + i));
    TrackPlan hint{.handler = "hint",
                   .id = 2,
                   .timescale = 1000,
                   .samples = hint_samples,
                   .delta = 40,
                   .sample_entry = rtp_entry(1400, 90000),
                   .hint_reference = 1};
    return {{media, hint}, true};
}

Bytes media_word(unsigned int sample) {
    return ByteWriter().u32(0xA0000000 + sample);
}

// A packet that cites one whole media sample, counted from 0.
HintPacket cites(unsigned int sample) {
    return {.sequence = sample, .constructors = {hint_sample_data(4, sample + 1, 0)}};
}

class Playback {
  public:
    explicit Playback(const MoviePlan& plan, bool indexed = false) : f(plan) { arm(indexed); }

    int next() { return isoFFrtpPacket(hint, buffer.data()); }
    Bytes packet(int length) const { return {buffer.begin(), buffer.begin() + length}; }
    Packets rest() {
        Packets out;
        for (int length; (length = next()) != 0;) {
            if (length < 0) {
                ADD_FAILURE() << length;
                break;
            }
            out.push_back(packet(length));
        }
        return out;
    }

    OpenedFile f;
    iso_track* hint = nullptr;
    Bytes buffer = Bytes(ISOFF_PACKET_CAPACITY + 16, 0xEE);

  private:
    void arm(bool indexed) {
        f.file->indexed_read = indexed;
        for (iso_track* t = f.file->tracks; t && !hint; t = t->next)
            hint = isoFFrtpHinter(t, 1400);
    }
};

Bytes payload(const Bytes& packet) {
    return {packet.begin() + 12, packet.end()};
}

unsigned int timestamp(const Bytes& packet) {
    return load_be32(&packet[4]);
}

TEST(RtpHint, BuildsHeaderAndEveryKindOfConstructor) {
    for (const bool indexed : {false, true}) {
        HintPacket first{
            .sequence = 7,
            .marker = true,
            .payload_type = 34,
            .constructors = {hint_no_data(), hint_immediate(hex("C0FFEE")), hint_sample_data(2, 3, 1)},
            .extra = hex("AABBCCDDEE")};
        first.constructors[0][1] = 9;
        Bytes description = hint_sample_data(3, 2, 0);
        description[0] = 3;
        Bytes odd = hint_immediate(hex("01"));
        odd[0] = 4;
        // The second packet cites the hint sample itself: bytes 0 to 1 are its packet count.
        const HintPacket second{.sequence = 8,
                                .constructors = {odd, description, hint_sample_data(2, 1, 0, 255)}};
        Playback p(hinted({hint_sample({first, second}), hint_sample({cites(7)})}), indexed);
        p.hint->tsro = 1000;
        p.hint->snro = 0xFFFF;
        const Packets packets = p.rest();
        ASSERT_EQ(packets.size(), 3U);
        EXPECT_EQ(packets[0], hex("80 A2 0006 000003E8 00000000 C0FFEE 0000"));
        EXPECT_EQ(packets[1], hex("80 60 0007 000003E8 00000000 A00000 0002"));
        EXPECT_EQ(timestamp(packets[2]), 1000U + 3600) << "40 ms at 90 kHz";
        EXPECT_EQ(payload(packets[2]), media_word(7));
        EXPECT_EQ(p.hint->last_seq, 6U);
        EXPECT_EQ(p.hint->last_timestamp, 4600U);
        EXPECT_EQ(p.hint->payload_type, 96U);
        EXPECT_EQ(p.next(), 0);
        EXPECT_EQ(p.next(), 0) << "the end stays";
        isoFFsetPosition(p.hint, 1);
        EXPECT_EQ(p.rest().size(), 1U) << "until the cursor is set back";
        isoFFsetPosition(p.hint, 0);
        EXPECT_EQ(p.rest().size(), 3U);
    }
}

TEST(RtpHint, TheLargestPacketSizeWithinTheLimitIsChosenAndOfEqualOnesTheFirst) {
    MoviePlan plan = hinted({hint_sample({cites(1)})});
    plan.tracks.resize(4, TrackPlan(plan.tracks[1]));
    for (const auto& [sizes, chosen] : {std::pair(std::array{1200U, 1400U, 1400U}, 3U),
                                        {{1401U, 0U, 0xFFFFFFFFU}, 3U},
                                        {{1401U, 1401U, 1401U}, 0U}}) {
        for (size_t i = 0; i < sizes.size(); ++i) {
            plan.tracks[i + 1].id = static_cast<unsigned int>(i) + 2;
            plan.tracks[i + 1].sample_entry = rtp_entry(sizes[i], 90000);
        }
        OpenedFile f(plan);
        const iso_track* hint = isoFFrtpHinter(f.track(), 1400);
        EXPECT_EQ(hint, isoFFfindHintTrack(f.track(), 1400));
        EXPECT_EQ(hint ? hint->track_id : 0, chosen);
        unsigned char buffer[16];
        EXPECT_EQ(isoFFrtpPacket(f.track(chosen == 2 ? 3 : 2), buffer), ISOFF_END) << "not armed";
    }
    EXPECT_EQ(isoFFrtpHinter(nullptr, 1400), nullptr);
}

TEST(RtpHint, TheClockWrapsOneEarlyAndEmptySamplesDoNotMoveIt) {
    Playback p(hinted({hint_sample({cites(0)}), hint_sample({}), hint_sample({}), hint_sample({cites(1)})}));
    p.hint->hint->rtp_time = 4294967295.0 - 600.25;
    const Packets packets = p.rest();
    ASSERT_EQ(packets.size(), 2U);
    EXPECT_EQ(timestamp(packets[0]), 4294966695U) << "4294966694.75 rounded";
    EXPECT_EQ(timestamp(packets[1]), 3000U) << "2999.75: the sum less 4294967295, not less 2^32";
}

// Fails each call in turn: the packets must come out as if nothing had happened, with the tracks being looked
// for again before each call when `find` is set.
TEST(RtpHint, AfterNotYetAPacketIsBuiltFromItsStart) {
    const HintPacket mixed{.sequence = 2,
                           .constructors = {hint_sample_data(4, 5, 0), hint_sample_data(2, 2, 0, 255),
                                            hint_immediate(hex("77")), hint_sample_data(4, 2, 0)},
                           .extra = hex("0102")};
    for (const bool find : {false, true}) {
        // Two packets in one hint sample only where no search falls between them.
        const MoviePlan plan =
            find ? hinted({hint_sample({cites(1)}), hint_sample({mixed}), hint_sample({cites(3)})})
                 : hinted({hint_sample({cites(1), mixed}), hint_sample({mixed, cites(3)})});
        Playback whole(plan, true);
        whole.hint->seq_state = 1;
        whole.hint->snro = 50;
        const Packets want = whole.rest();
        const unsigned long calls = whole.f.host.count(Slot::IndexRead);
        ASSERT_GT(calls, 10U);
        for (unsigned long call = 1; call <= calls; ++call) {
            Playback p(plan, true);
            p.hint->seq_state = 1;
            p.hint->snro = 50;
            p.f.host.fault = MemoryHost::Fault{Slot::IndexRead, call, false};
            Packets got;
            int refused = 0;
            for (int length = 1; length != 0;) {
                if (find) isoFFfindHintTrack(p.f.track(), 1400);
                length = p.next();
                if (length == ISOFF_NOT_YET) ++refused;
                if (length > 0) got.push_back(p.packet(length));
                ASSERT_NE(length, ISOFF_END) << call;
            }
            EXPECT_EQ(refused, 1);
            EXPECT_EQ(got, want) << "call " << call;
        }
    }
}

TEST(RtpHint, APacketThatAsksForMoreThanTheCapacityEnds) {
    MoviePlan plan = hinted({});
    plan.tracks[0].samples = {Bytes(32000, 1)};
    const auto packet = [](unsigned int last) {
        return hint_sample({{.constructors = {hint_sample_data(32000, 1, 0), hint_sample_data(31980, 1, 0),
                                              hint_immediate(Bytes(last, 5))}}});
    };
    plan.tracks[1].samples = {packet(8), packet(9)};
    Playback p(plan);
    EXPECT_EQ(p.next(), ISOFF_PACKET_CAPACITY);
    EXPECT_EQ(p.next(), ISOFF_END);
    EXPECT_EQ(p.buffer[ISOFF_PACKET_CAPACITY], 0xEE);
}

TEST(RtpHint, ABadConstructorOrASampleCutShortEndsPlayback) {
    const auto immediate_of = [](unsigned char count) {
        Bytes out = hint_immediate({});
        out[1] = count;
        return out;
    };
    std::vector<Bytes> samples;
    for (const Bytes& bad : {hint_sample_data(5, 1, 0), hint_sample_data(4, 1, 1), hint_sample_data(4, 0, 0),
                             hint_sample_data(4, 9, 0), hint_sample_data(4, 0xFFFFFFFF, 0),
                             hint_sample_data(4, 1, 0xFFFFFFFF), immediate_of(15), immediate_of(255)})
        samples.push_back(hint_sample({{.constructors = {bad}}}));
    const Bytes whole = hint_sample({cites(1)});
    for (size_t size = 0; size < whole.size(); ++size)
        samples.emplace_back(whole.begin(), whole.begin() + static_cast<long>(size));
    for (size_t i = 0; i < samples.size(); ++i) {
        Playback p(hinted({samples[i], whole}));
        EXPECT_EQ(p.next(), ISOFF_END) << i;
        EXPECT_EQ(p.next(), ISOFF_END) << i;
    }
}

// Constructors that jump about: whatever is remembered, the packets and the cursor must be those of the plain
// walk, also after somebody else has moved the cursor off its path.
TEST(RtpHint, JumpingConstructorsLeaveTheCursorOfThePlainWalk) {
    unsigned int random = 12345;
    std::vector<Bytes> samples;
    for (unsigned int i = 0; i < 400; ++i) {
        random = random * 1664525 + 1013904223;
        const bool jumps = i % 16 < 4;  // the others follow each other
        const unsigned int back = !jumps ? 0 : i % 3 == 0 ? (random >> 8) % (i + 1) : i % 5;
        samples.push_back(
            hint_sample({{.constructors = {hint_sample_data(4, i + 1, 0),
                                           hint_sample_data(4, i + 1 - std::min(i, back), 0)}}}));
    }
    MoviePlan plan = hinted(samples, 400);
    plan.tracks[0].samples_per_chunk = 7;
    plan.tracks[0].stts = {{100, 3}, {0, 1}, {299, 2}, {50, 9}};
    Playback fast(plan, true);
    Playback plain(plan, true);
    plain.hint->flags &= ~qlip::kArmedHintRecord;  // as a record of the host's own: nothing is remembered
    for (int i = 0; i < 400; ++i) {
        for (Playback* p : {&fast, &plain}) {
            if (i % 50 != 26) continue;
            unsigned char bytes[4];
            p->f.host.most_per_read = i % 100 == 26 ? 2 : 4;
            isoFFread(p->f.track(), bytes, 4, nullptr, nullptr);
            p->f.host.most_per_read.reset();
        }
        ASSERT_EQ(fast.next(), plain.next());
        ASSERT_EQ(fast.buffer, plain.buffer) << i;
        ASSERT_EQ(qlip::Cursor::of(fast.f.track()), qlip::Cursor::of(plain.f.track())) << i;
    }
}

}  // namespace
}  // namespace qlip_test
