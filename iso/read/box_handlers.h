// The handlers of the box tables; see walk.h for their contract. Those of rows that belong to a track may
// count on one.
#pragma once

#include "iso/read/walk.h"

// boxes_file.cpp: the top level.
int P_ftyp(iso_file* file, int size);
int P_moov(iso_file* file, int size);
int P_mdat(iso_file* file, int size);

// containers.cpp: boxes that hold boxes and nothing else, and boxes that are passed over.
int P_trak(iso_file* file, int size);
int P_udta(iso_file* file, int size);
int P_hnti(iso_file* file, int size);
int P_tref(iso_file* file, int size);
int P_meta(iso_file* file, int size);
int P_edts(iso_file* file, int size);
int P_mdia(iso_file* file, int size);
int P_minf(iso_file* file, int size);
int P_dinf(iso_file* file, int size);
int P_stsd(iso_file* file, int size);
int P_hmhd(iso_file* file, int size);
int P_vmhd(iso_file* file, int size);
int P_smhd(iso_file* file, int size);
int P_dref(iso_file* file, int size);

// header_boxes.cpp: headers of the movie, a track and its media.
int P_mvhd(iso_file* file, int size);
int P_iods(iso_file* file, int size);
int P_tkhd(iso_file* file, int size);
int P_mdhd(iso_file* file, int size);
int P_hdlr(iso_file* file, int size);
int P_elst(iso_file* file, int size);
int P_hint(iso_file* file, int size);

// text_boxes.cpp: texts and bodies that stay as they are.
int P_xml(iso_file* file, int size);
int P_tsel(iso_file* file, int size);
int P_sdp(iso_file* file, int size);
int P_hnti_rtp(iso_file* file, int size);

// hint_boxes.cpp: sample entries of hint tracks and what they hold.
int P_rtp(iso_file* file, int size);
int P_srtp(iso_file* file, int size);
int P_tims(iso_file* file, int size);
int P_tsro(iso_file* file, int size);
int P_snro(iso_file* file, int size);
int P_srpp(iso_file* file, int size);
int P_schm(iso_file* file, int size);
int P_schi(iso_file* file, int size);

// sample_tables.cpp
int P_stbl(iso_file* file, int size);
int P_stts(iso_file* file, int size);
int P_ctts(iso_file* file, int size);
int P_stsz(iso_file* file, int size);
int P_stsc(iso_file* file, int size);
int P_stco(iso_file* file, int size);
int P_stss(iso_file* file, int size);

// sample_groups.cpp
int P_sbgp(iso_file* file, int size);
int P_sgpd(iso_file* file, int size);

// decoder_configuration.cpp: sample entries and their configuration boxes.
int P_video_info(iso_file* file, int size);  // fixed fields of a visual entry; returns the size of the rest
int P_mp4v(iso_file* file, int size);
int P_s263(iso_file* file, int size);
int P_avc1(iso_file* file, int size);
int P_mp4a(iso_file* file, int size);
int P_samr(iso_file* file, int size);
int P_sawb(iso_file* file, int size);
int P_sawp(iso_file* file, int size);
int P_damr(iso_file* file, int size);
int P_dawp(iso_file* file, int size);
int P_d263(iso_file* file, int size);
int P_avcC(iso_file* file, int size);

// elementary_stream_descriptor.cpp
int P_esds(iso_file* file, int size);
int r_ES_Desc(iso_file* file, int size);
