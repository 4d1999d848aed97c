// The cutting loop behind the H.263 and MPEG-4 packetisers of both families.
//
// The loop asks a "pieces" object what a record looks like: how many input bytes its payload header stands
// for, where to cut, what the payload header is, and what the next record repeats. PlainPieces answers for
// payloads without a header; the payload formats derive from it and hide what differs.
#pragma once

#include <array>
#include <concepts>

#include "packets/record_family.h"
#include "packets/zero_pair.h"

namespace qlip {

enum class CutPlace { start_code, arbitrary, macroblock };

// One record's share of the frame.
struct Piece {
    size_t size;  // 0 from cut(): none can be made
    CutPlace place = CutPlace::arbitrary;
    int ebit = 0;         // CutPlace::macroblock: bits of the last byte that belong to the next record
    size_t repeated = 0;  // bytes at the end that the next record starts with again
};

// A cut in front of the last start code that leaves at least kFirstCut bytes, else after `room` bytes.
inline Piece cut_at_start_code(ByteSpan left, size_t room) {
    constexpr size_t kFirstCut = 8;
    if (room > kFirstCut) {
        const unsigned char* at = last_walked_zero_pair(left.data() + kFirstCut, left.data() + room);
        if (at) return {static_cast<size_t>(at - left.data()), CutPlace::start_code};
    }
    return {room, CutPlace::arbitrary};
}

// How a payload format divides a frame into records.
template <class T>
concept PayloadPieces = requires(T pieces, const T& constant, ByteSpan left) {
    // Bytes of payload data that fit in a record beside the payload header.
    { constant.room() } -> std::same_as<ptrdiff_t>;
    // Starts a record. The number of input bytes that its payload header stands for.
    { pieces.start(left) } -> std::same_as<size_t>;
    // The last record's share: all that is left.
    { pieces.finish(left) } -> std::same_as<Piece>;
    // A share of input that does not fit in one record; room() is at least 1.
    { pieces.cut(left) } -> std::same_as<Piece>;
    // The payload header of the record in hand.
    { constant.header() } -> std::convertible_to<ByteSpan>;
};

// Payloads without a header, cut in front of start codes.
class PlainPieces {
  public:
    explicit PlainPieces(ptrdiff_t room) : room_(room) {}

    ptrdiff_t room() const { return room_; }
    size_t start(ByteSpan) { return 0; }
    Piece finish(ByteSpan left) { return {left.size()}; }
    Piece cut(ByteSpan left) { return cut_at_start_code(left, static_cast<size_t>(room_)); }
    ByteSpan header() const { return {}; }

  private:
    ptrdiff_t room_;
};

// RFC 2429 5.1 (now RFC 4629): RR=0 P V=0 PLEN=0 PEBIT=0. P stands for two zero bytes at the start of a
// picture segment, which are left out of the payload.
class Rfc2429Pieces {
  public:
    explicit Rfc2429Pieces(ptrdiff_t max_payload) : room_(max_payload - kHeaderSize) {}

    ptrdiff_t room() const { return room_; }
    size_t start(ByteSpan left) {
        const bool at_start_code = left.size() >= 2 && is_zero_pair(left.data());
        header_[0] = at_start_code ? kPBit : 0;
        return at_start_code ? 2 : 0;
    }
    Piece finish(ByteSpan left) { return {left.size()}; }
    Piece cut(ByteSpan left) { return cut_at_start_code(left, static_cast<size_t>(room_)); }
    ByteSpan header() const { return header_; }

  private:
    static constexpr ptrdiff_t kHeaderSize = 2;
    static constexpr unsigned char kPBit = 4;
    ptrdiff_t room_;
    std::array<unsigned char, kHeaderSize> header_{};
};

// Tells on stderr where a frame is cut.
void print_cut(size_t old_length, const Piece& cut);

// Fills `sink`, to which put_record() goes, with the records of one frame. The clock moves on by the frame's
// `seconds`. Static, since each combination has one caller, which it is to become part of.
template <class Family, PayloadPieces Pieces, class Sink>
static int packetise_video(Sink& sink, ByteSpan left, double seconds, typename Family::native& native,
                           int type, Pieces pieces) {
    stamp<Family>(native, native.clock_rate * seconds);
    while (!left.empty()) {
        left = left.subspan(pieces.start(left));
        const bool last = std::ssize(left) <= pieces.room();
        if (!last && pieces.room() < 1) return WLD_FAILED;
        native.rtp.marker = last ? 1 : 0;
        const Piece share = last ? pieces.finish(left) : pieces.cut(left);
        if (!last && share.size == 0) return WLD_FAILED;
        if (!last && (Family::flags(native) & WLD_FLAG_VERBOSE) != 0) print_cut(left.size(), share);
        if (!put_record<Family>(sink, native, type, pieces.header(), left.first(share.size))) {
            return WLD_FAILED;
        }
        Family::count(native);
        left = left.subspan(share.size - share.repeated);
    }
    return sink.written();
}

}  // namespace qlip
