#include "iso/read/box_tables.h"

#include "iso/read/box_handlers.h"

// clang-format off
constinit isobox file_box[] = {
    {"ftyp", P_ftyp}, {"moov", P_moov}, {"mdat", P_mdat}, {nullptr, nullptr}};

constinit isobox moov_box[] = {
    {"mvhd", P_mvhd}, {"trak", P_trak}, {"iods", P_iods}, {"udta", P_udta}, {nullptr, nullptr}};

constinit isobox udta_box[] = {
    {"hnti", P_hnti}, {"tsel", P_tsel}, {nullptr, nullptr}};

constinit isobox hnti_box[] = {
    {"sdp ", P_sdp}, {"rtp ", P_hnti_rtp}, {nullptr, nullptr}};

constinit isobox trak_box[] = {
    {"tkhd", P_tkhd}, {"mdia", P_mdia}, {"edts", P_edts}, {"meta", P_meta}, {"tref", P_tref},
    {"udta", P_udta}, {nullptr, nullptr}};

constinit isobox tref_box[] = {
    {"hint", P_hint}, {nullptr, nullptr}};

constinit isobox meta_box[] = {
    {"xml ", P_xml}, {nullptr, nullptr}};

constinit isobox edts_box[] = {
    {"elst", P_elst}, {nullptr, nullptr}};

constinit isobox mdia_box[] = {
    {"mdhd", P_mdhd}, {"hdlr", P_hdlr}, {"minf", P_minf}, {nullptr, nullptr}};

constinit isobox minf_box[] = {
    {"smhd", P_smhd}, {"vmhd", P_vmhd}, {"hmhd", P_hmhd}, {"dinf", P_dinf}, {"stbl", P_stbl},
    {nullptr, nullptr}};

constinit isobox stbl_box[] = {
    {"stsd", P_stsd}, {"stts", P_stts}, {"stsc", P_stsc}, {"stsz", P_stsz}, {"stco", P_stco},
    {"ctts", P_ctts}, {"stss", P_stss}, {"sbgp", P_sbgp}, {"sgpd", P_sgpd}, {nullptr, nullptr}};

constinit isobox stsd_box[] = {
    {"mp4a", P_mp4a}, {"mp4v", P_mp4v}, {"samr", P_samr}, {"sawb", P_sawb}, {"sawp", P_sawp},
    {"s263", P_s263}, {"avc1", P_avc1}, {"rtp ", P_rtp},  {"srtp", P_srtp}, {nullptr, nullptr}};

constinit isobox rtp_box[] = {
    {"tims", P_tims}, {"tsro", P_tsro}, {"snro", P_snro}, {"srpp", P_srpp}, {nullptr, nullptr}};

constinit isobox sinf_box[] = {
    {"schm", P_schm}, {"schi", P_schi}, {nullptr, nullptr}};

constinit isobox dec_spec_box[] = {
    {"damr", P_damr}, {"dawp", P_dawp}, {"d263", P_d263}, {"avcC", P_avcC}, {"esds", P_esds},
    {nullptr, nullptr}};

constinit isobox dinf_box[] = {
    {"dref", P_dref}, {nullptr, nullptr}};
// clang-format on
