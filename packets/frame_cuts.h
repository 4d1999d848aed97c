// A frame cut into packets of which nothing is written yet: notes of where each one's payload lies. The
// session keeps them between a frame's record and its body, so that the packet records are gathered from the
// sample where the caller wants them.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "packets/record_family.h"
#include "packets/record_sink.h"
#include "packets/wld_header.h"
#include "qlip/wld_native.h"

namespace qlip {

struct Cut {
    const unsigned char* data;
    uint32_t size;
    std::array<unsigned char, 2> head;  // the payload header, ahead of the data
    unsigned char head_size;
    unsigned char marker;
};
static_assert(sizeof(Cut) == 16);

class FrameCuts {
  public:
    // The most that records of `room` bytes come to.
    static constexpr size_t most(size_t room) { return room / sizeof(wld_packet_record); }

    // `more` has room for as many notes as the frames have packets, beyond the first few.
    explicit FrameCuts(Cut* more) : more_(more) {}

    // A new frame, whose records may take `room` bytes, with the numbers and the time of `native`.
    void begin(const wld_native& native, int payload_type, ptrdiff_t room) {
        room_ = RecordRoom(room, room);
        count_ = 0;
        sequence_ = native.rtp.sequence;
        payload_type_ = static_cast<uint32_t>(payload_type);
    }

    void forget() { count_ = 0; }

    // Notes one record. False when it does not fit.
    [[nodiscard]] bool add(wld_native& native, ByteSpan head, ByteSpan data, RecordCredit credit) {
        const size_t size = sizeof(wld_packet_record) + head.size() + data.size();
        if (!room_.take(static_cast<ptrdiff_t>(size), credit)) return false;
        Cut& cut = count_ < kFirst ? first_[count_] : more_[count_ - kFirst];
        ++count_;
        cut.data = data.data();
        cut.size = static_cast<uint32_t>(data.size());
        std::copy(head.begin(), head.end(), cut.head.begin());
        cut.head_size = static_cast<unsigned char>(head.size());
        cut.marker = native.rtp.marker != 0;
        timestamp_ = native.rtp.timestamp;
        native.rtp.sequence = (native.rtp.sequence + 1) & kRtpLastSequence;
        return true;
    }

    int written() const { return static_cast<int>(room_.written()); }

    // Writes the packet records and returns their end.
    unsigned char* put_records(unsigned char* out) const {
        const uint32_t first = std::min(count_, kFirst);
        out = put_run(out, first_.data(), first, sequence_);
        return put_run(out, more_, count_ - first, sequence_ + first);
    }

  private:
    static constexpr uint32_t kFirst = 16;

    unsigned char* put_run(unsigned char* out, const Cut* cut, uint32_t count, uint32_t sequence) const {
        for (; count > 0; --count, ++cut, ++sequence) {
            const uint32_t word = rtp_word(cut->marker, payload_type_, sequence & kRtpLastSequence);
            put_packet_record(out, cut->head_size + cut->size, timestamp_, word);
            out += sizeof(wld_packet_record);
            if (cut->head_size != 0) std::memcpy(out, cut->head.data(), sizeof cut->head);
            out += cut->head_size;
            std::memcpy(out, cut->data, cut->size);
            out += cut->size;
        }
        return out;
    }

    Cut* more_;
    RecordRoom room_{0, 0};
    uint32_t count_ = 0;
    uint32_t sequence_ = 0, timestamp_ = 0, payload_type_ = 0;
    std::array<Cut, kFirst> first_;
};

// put_record, for a frame that is to be written later.
template <class Family>
[[nodiscard, gnu::always_inline]] inline bool put_record(FrameCuts& cuts, wld_native& native, int,
                                                         ByteSpan head, ByteSpan data,
                                                         RecordCredit credit = {}) {
    return cuts.add(native, head, data, credit);
}

// wld_video_packet for MPEG-4 and for H.263 in RFC 2429, and wld_rfc3984_packet. `cuts` has begun.
[[nodiscard]] int cut_video(FrameCuts& cuts, ByteSpan frame, double seconds, wld_native& native);
[[nodiscard]] int cut_h264(FrameCuts& cuts, ByteSpan sample, double seconds, wld_native& native);

}  // namespace qlip
