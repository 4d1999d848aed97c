// The RFC 2190 payload format of H.263 for the cutting loop of video_packets.h: Mode A headers, and where
// cuts between macroblocks are asked for, Mode B headers behind the first cut.
#pragma once

#include "packets/video_packets.h"
#include "qlip/h263_isoff.h"

namespace qlip {

class Rfc2190Pieces {
  public:
    // `frame` is the whole picture; `config` comes from its header.
    Rfc2190Pieces(ByteSpan frame, const wld_native& native, const H263VCFG& config);

    ptrdiff_t room() const { return room_; }
    size_t start(ByteSpan) { return 0; }
    Piece finish(ByteSpan left);
    Piece cut(ByteSpan left);
    ByteSpan header() const { return {header_.data(), header_size_}; }

  private:
    static constexpr ptrdiff_t kModeASize = 4;
    static constexpr ptrdiff_t kModeBSize = 8;

    tbq_pos_t find_cut();
    void put_mode_b_header(tbq_pos_t end);

    ByteSpan frame_;
    ptrdiff_t room_;
    std::array<unsigned char, kModeBSize> header_{};
    size_t header_size_ = kModeASize;
    bool cut_at_mb_;
    bool mode_b_ = false;
    bool walk_failed_ = false;
    tbq_state_t state_{};
    // What holds at the start of the record in hand: its position, and the group and the macroblock there.
    tbq_pos_t start_{};
    tbq_gob_info_t gob_{};
    tbq_mb_info_t mb_{};
};

// wld_video_packet for RFC 2190. WLD_BAD_PICTURE without a picture header; nothing is written then.
[[nodiscard]] int packetise_rfc2190(RecordSink& sink, ByteSpan frame, double seconds, wld_native& native);

}  // namespace qlip
