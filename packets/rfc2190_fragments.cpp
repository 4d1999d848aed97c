#include "packets/rfc2190_fragments.h"

using namespace qlip;

namespace {

// The walker takes plain pointers, but only reads.
unsigned char* walkable(ByteSpan frame) {
    return const_cast<unsigned char*>(frame.data());
}

int walkable_size(ByteSpan frame) {
    return static_cast<int>(frame.size());
}

}  // namespace

namespace qlip {

// RFC 2190 5.1, Mode A: F=0 P=0 SBIT EBIT | SRC I U=S=A=0 R=0 | R=0 DBQ=0 TRB=0 | TR=0.
Rfc2190Pieces::Rfc2190Pieces(ByteSpan frame, const wld_native& native, const H263VCFG& config)
    : frame_(frame), room_(native.max_payload - kModeASize), cut_at_mb_(native.rfc_mode == WLD_RFC_2190_B) {
    header_[1] = static_cast<unsigned char>(static_cast<unsigned>(config.source_format) << 5 |
                                            static_cast<unsigned>(config.frame_type) << 4);
    state_.verbose = native.flags & WLD_FLAG_VERBOSE;
}

Piece Rfc2190Pieces::finish(ByteSpan left) {
    if (mode_b_) put_mode_b_header({start_.byte + left.size(), 0});
    return {left.size()};
}

Piece Rfc2190Pieces::cut(ByteSpan left) {
    if (!cut_at_mb_) return cut_at_start_code(left, static_cast<size_t>(room_));
    const tbq_pos_t end = find_cut();
    if (tbq_pos_eq(&end, &start_) != 0) return {0};
    const int ebit = static_cast<int>((8 - end.bit) & 7);
    if (mode_b_) {
        put_mode_b_header(end);
    } else {
        header_[0] = static_cast<unsigned char>(ebit);
        mode_b_ = true;
        room_ -= kModeBSize - kModeASize;
    }
    const size_t whole = end.byte - start_.byte;
    const size_t shared = end.bit != 0 ? 1 : 0;
    start_ = end;
    gob_ = state_.gob;
    mb_ = state_.mb;
    return {whole + shared, CutPlace::macroblock, ebit, shared};
}

// The last position between macroblocks that the walk passes before it is `room_` bytes on. The step that
// gets there leaves the state of the macroblock that begins at the cut.
tbq_pos_t Rfc2190Pieces::find_cut() {
    const tbq_pos_t target{start_.byte + static_cast<unsigned long>(room_), 0};
    tbq_pos_t pos = start_;
    tbq_pos_t before = start_;
    while (!walk_failed_ && pos.byte < target.byte) {
        before = pos;
        walk_failed_ = get_start_of_mb(&state_, walkable(frame_), walkable_size(frame_), &pos, &pos) != 0;
    }
    return walk_failed_ ? target : before;
}

void Rfc2190Pieces::put_mode_b_header(tbq_pos_t end) {
    put_rfc2190_B(header_.data(), &state_, &gob_, &mb_, &start_, &end);
    header_size_ = kModeBSize;
}

int packetise_rfc2190(RecordSink& sink, ByteSpan frame, double seconds, wld_native& native) {
    H263VCFG config{};
    config.source_format = static_cast<int>(native.last_source_format);
    if (h263_get_config(walkable(frame), walkable_size(frame), &config) == -1) return WLD_BAD_PICTURE;
    native.last_source_format = static_cast<unsigned int>(config.source_format);
    return packetise_video<WldFamily>(sink, frame, seconds, native, WLD_TYPE_H263,
                                      Rfc2190Pieces(frame, native, config));
}

}  // namespace qlip
