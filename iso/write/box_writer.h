// Writers of the header boxes: the same description is run once to count and once to store. Each returns the
// size of its box, or 0 for a box that is left out.
#pragma once

#include "qlip/isoff.h"

// The whole header: ftyp, moov and the head of the media box for `media_length` bytes; in direct mode moov
// alone.
int w_header(int pass, iso_file* file, unsigned char* dst, unsigned int media_length);

// box_writer_file.cpp: boxes of the file.
int w_ftyp(int pass, iso_file* file, unsigned char* dst);
int w_moov(int pass, iso_file* file, unsigned char* dst);
int w_mvhd(int pass, iso_file* file, unsigned char* dst);
int w_iods(int pass, iso_file* file, unsigned char* dst);
int w_udta(int pass, iso_file* file, unsigned char* dst);
int w_hnti(int pass, iso_file* file, unsigned char* dst);
int w_sdp(int pass, iso_file* file, unsigned char* dst);

// box_writer_track.cpp: boxes of a track above its sample table.
int w_trak(int pass, iso_track* track, unsigned char* dst);
int w_tkhd(int pass, iso_track* track, unsigned char* dst);
int w_tref(int pass, iso_track* track, unsigned char* dst);
int w_hint(int pass, iso_track* track, unsigned char* dst);
int w_edts(int pass, iso_track* track, unsigned char* dst);
int w_elst(int pass, iso_track* track, unsigned char* dst);
int w_mdia(int pass, iso_track* track, unsigned char* dst);
int w_mdhd(int pass, iso_track* track, unsigned char* dst);
int w_hdlr(int pass, iso_track* track, unsigned char* dst);
int w_minf(int pass, iso_track* track, unsigned char* dst);
int w_hmhd(int pass, iso_track* track, unsigned char* dst);
int w_smhd(int pass, iso_track* track, unsigned char* dst);
int w_nmhd(int pass, iso_track* track, unsigned char* dst);
int w_vmhd(int pass, iso_track* track, unsigned char* dst);
int w_dinf(int pass, iso_track* track, unsigned char* dst);
int w_dref(int pass, iso_track* track, unsigned char* dst);
int w_url(int pass, iso_track* track, unsigned char* dst);
int w_meta(int pass, iso_track* track, unsigned char* dst);
int w_xml(int pass, iso_track* track, unsigned char* dst);
int w_udta(int pass, iso_track* track, unsigned char* dst);
int w_hnti(int pass, iso_track* track, unsigned char* dst);
int w_sdp(int pass, iso_track* track, unsigned char* dst);
int w_tsel(int pass, iso_track* track, unsigned char* dst);

// box_writer_tables.cpp: the sample table.
int w_stbl(int pass, iso_track* track, unsigned char* dst);
int w_stts(int pass, iso_track* track, unsigned char* dst);
int w_ctts(int pass, iso_track* track, unsigned char* dst);
int w_stsz(int pass, iso_track* track, unsigned char* dst);
int w_stsc(int pass, iso_track* track, unsigned char* dst);
int w_stco(int pass, iso_track* track, unsigned char* dst);
int w_stss(int pass, iso_track* track, unsigned char* dst);
int w_sbgp(int pass, iso_track* track, unsigned char* dst);
int w_sgpd(int pass, iso_track* track, unsigned char* dst);

// box_writer_entries.cpp: sample descriptions.
int w_stsd(int pass, iso_track* track, unsigned char* dst);
int w_sampleEntry(int pass, iso_track* track, unsigned char* dst);
int w_mp4v(int pass, iso_track* track, unsigned char* dst);
int w_mp4a(int pass, iso_track* track, unsigned char* dst);
int w_s263(int pass, iso_track* track, unsigned char* dst);
int w_samr(int pass, iso_track* track, unsigned char* dst);
int w_avc1(int pass, iso_track* track, unsigned char* dst);
int w_rtp(int pass, iso_track* track, unsigned char* dst);
int w_srtp(int pass, iso_track* track, unsigned char* dst);
int w_damr(int pass, iso_track* track, unsigned char* dst);
int w_dawp(int pass, iso_track* track, unsigned char* dst);
int w_d263(int pass, iso_track* track, unsigned char* dst);
int w_esds(int pass, iso_track* track, unsigned char* dst);
int w_ES_Desc(int pass, iso_track* track, unsigned char* dst);
int w_decoderConfig(int pass, iso_track* track, unsigned char* dst);
int w_avcC(int pass, iso_track* track, unsigned char* dst);
int w_tims(int pass, iso_track* track, unsigned char* dst);
int w_tsro(int pass, iso_track* track, unsigned char* dst);
int w_snro(int pass, iso_track* track, unsigned char* dst);
int w_srpp(int pass, iso_track* track, unsigned char* dst);
int w_schm(int pass, iso_track* track, unsigned char* dst);
int w_schi(int pass, iso_track* track, unsigned char* dst);

// Fields shared by the sample entries of a kind: the bytes written, not a box.
int w_video_info(int pass, iso_track* track, unsigned char* dst);
int w_audio_info(int pass, iso_track* track, unsigned char* dst);

namespace qlip {

// Bytes that the storing pass writes beyond what the counting pass counted: more sbgp rows than sbgp_count
// says.
int uncounted_bytes(const iso_track* track);

}  // namespace qlip
