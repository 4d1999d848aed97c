// The writer's boxes over a track with arbitrary fields: what the counting pass counts is what the storing
// pass writes, whole boxes have their own size in front, and nothing lies behind them.
#include <cstring>
#include <vector>

#include "common/byte_order.h"
#include "fuzz/cost.h"
#include "fuzz/drawn_film.h"
#include "fuzz/require.h"
#include "iso/write/box_writer.h"

using qlip_fuzz::Draws;
using qlip_fuzz::require;
using qlip_test::Bytes;

namespace {

using TrackWriter = int (*)(int, iso_track*, unsigned char*);

constexpr TrackWriter kBoxes[] = {w_trak, w_tkhd, w_tref, w_edts, w_mdia, w_mdhd, w_hdlr, w_minf, w_dinf,
                                  w_meta, w_udta, w_stbl, w_stsd, w_mp4v, w_mp4a, w_s263, w_samr, w_avc1,
                                  w_rtp,  w_srtp, w_damr, w_dawp, w_d263, w_esds, w_avcC, w_sdp,  w_xml,
                                  w_elst, w_tsel, w_srpp, w_schm, w_schi, w_tims};

constexpr int kCodecs[] = {ISO_CODEC_MP4V, ISO_CODEC_MP4A, ISO_CODEC_S263, ISO_CODEC_SAMR, ISO_CODEC_AVC1,
                           ISO_CODEC_SAWB, ISO_CODEC_SAWP, ISO_CODEC_RTP,  ISO_CODEC_SRTP, 6};
constexpr const char* kHandlers[] = {"soun", "vide", "hint", "text", "odsm"};
constexpr unsigned char kGuard = 0xEE;
constexpr size_t kRoomBehind = 16;  // texts are stored with one byte behind them, which the next box covers

// What the track's pointers point to.
struct Contents {
    Bytes dsi, sps, pps, sdp, xml, tsel, url, schi, location;
    std::vector<unsigned int> edits;
};

char* text(Bytes& bytes) {
    bytes.push_back(0);
    return reinterpret_cast<char*>(bytes.data());
}

// Sets in stored form: length and bytes, one after the other; the length has four bytes when that of NAL
// units has.
Bytes draw_sets(Draws& draws, unsigned int nal_length_size, int& count) {
    Bytes out;
    count = static_cast<int>(draws.below(4));
    for (int i = 0; i < count; ++i) {
        Bytes set = draws.bytes(draws.byte());
        set.push_back(0x67);
        if (nal_length_size == 4) out.resize(out.size() + 2);
        out.push_back(static_cast<unsigned char>(set.size() >> 8));
        out.push_back(static_cast<unsigned char>(set.size()));
        out.insert(out.end(), set.begin(), set.end());
    }
    return out;
}

void draw_types(Draws& draws, iso_track& track) {
    for (auto& type : track.srpp_types) {
        const Bytes four = draws.bytes(4);
        std::copy(four.begin(), four.end(), type);
    }
    const Bytes scheme = draws.bytes(draws.below(5));
    std::copy(scheme.begin(), scheme.end(), track.scheme_type);
    track.scheme_version = draws.word();
}

void draw_texts(Draws& draws, iso_track& track, Contents& of) {
    const unsigned int which = draws.byte();
    if (which & 1) track.sdp = text(of.sdp = draws.bytes(draws.byte()));
    if (which & 2) {
        of.xml = draws.bytes(draws.byte());
        track.xml = of.xml.data();
        track.xml_size = static_cast<int>(of.xml.size());
    }
    if (which & 4) track.tsel_attributes = text(of.tsel = draws.bytes(draws.below(32)));
    if (which & 8) track.scheme_url = text(of.url = draws.bytes(draws.below(32)));
    if (which & 16) track.location = text(of.location = draws.bytes(draws.below(32)));
    of.schi = draws.bytes(draws.below(32));
    track.schi = of.schi.data();
    track.schi_size = static_cast<unsigned int>(of.schi.size());
    track.tsel_group = which & 32 ? draws.word() : 0;
}

void draw_configuration(Draws& draws, iso_track& track, Contents& of) {
    of.dsi = draws.bytes(draws.one_in(2) ? 0 : draws.byte());
    track.dsi = of.dsi.data();
    track.dsi_size = static_cast<int>(of.dsi.size());
    track.nal_length_size = draws.below(6);
    of.sps = draw_sets(draws, track.nal_length_size, track.sps_count);
    of.pps = draw_sets(draws, track.nal_length_size, track.pps_count);
    track.sps = of.sps.data();
    track.pps = of.pps.data();
    track.level = static_cast<unsigned char>(draws.byte());
    track.object_type = draws.byte();
    track.stream_type = draws.byte();
    track.buffer_size_db = draws.word();
    track.max_packet_size = draws.word();
    track.tims = draws.word();
}

void draw_edits(Draws& draws, iso_track& track, Contents& of) {
    track.edit_count = static_cast<int>(draws.below(5));
    for (int i = 0; i < 3 * track.edit_count; ++i)
        of.edits.push_back(draws.word());
    if (!of.edits.empty()) track.edits = reinterpret_cast<unsigned int(*)[3]>(of.edits.data());
}

iso_track draw_track(Draws& draws, iso_file& file, Contents& of) {
    iso_track track{};
    track.file = &file;
    track.codec = kCodecs[draws.below(std::size(kCodecs))];
    std::strcpy(track.handler, kHandlers[draws.below(std::size(kHandlers))]);
    track.timescale = draws.pair();
    track.duration = draws.word();
    track.width = draws.pair();
    draw_configuration(draws, track, of);
    draw_types(draws, track);
    draw_texts(draws, track, of);
    draw_edits(draws, track, of);
    return track;
}

void check(TrackWriter writer, iso_track& track) {
    const int counted = writer(0, &track, nullptr);
    require(counted >= 0);
    Bytes out(static_cast<size_t>(counted) + kRoomBehind, kGuard);
    require(writer(1, &track, out.data()) == counted);
    for (size_t at = static_cast<size_t>(counted) + 1; at < out.size(); ++at)
        require(out[at] == kGuard);
    if (counted > 0)
        require(counted >= 8 && qlip::load_be32(out.data()) == static_cast<unsigned int>(counted));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const qlip_fuzz::Cost cost(size, 64);
    Draws draws(data, size);
    Contents contents;
    iso_file file{};
    file.timescale = draws.pair();
    iso_track track = draw_track(draws, file, contents);
    for (const TrackWriter writer : kBoxes)
        check(writer, track);
    return 0;
}
