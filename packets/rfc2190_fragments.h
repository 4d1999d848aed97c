// The RFC 2190 payload format of H.263 for the cutting loop of video_packets.h: Mode A headers, and where
// cuts between macroblocks are asked for, Mode B headers behind the first cut.
#pragma once

#include "packets/video_packets.h"
#include "qlip/h263_isoff.h"

namespace qlip {

class rfc2190_pieces : public plain_pieces {
  public:
    // `frame` is the whole picture; `config` comes from its header.
    rfc2190_pieces(bytes frame, const wld_native& native, const H263VCFG& config);

    ptrdiff_t room() const { return room_; }
    piece finish(bytes left);
    piece cut(bytes left);
    bytes header() const { return {header_.data(), header_size_}; }

  private:
    static constexpr ptrdiff_t kModeASize = 4;
    static constexpr ptrdiff_t kModeBSize = 8;

    tbq_pos_t find_cut();
    void put_mode_b_header(tbq_pos_t end);

    bytes frame_;
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
[[nodiscard]] int packetise_rfc2190(record_sink& sink, bytes frame, double seconds, wld_native& native);

}  // namespace qlip
