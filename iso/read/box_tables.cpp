#include "iso/read/box_tables.h"

#include "iso/read/box_handlers.h"

namespace {

constexpr auto kOfTrack = qlip::BoxOwner::Track;

}  // namespace

// clang-format off
constinit isobox file_box[] = {
    {"ftyp", P_ftyp},
    {"moov", P_moov},
    {"mdat", P_mdat},
    {nullptr, nullptr}};

constinit isobox moov_box[] = {
    {"mvhd", P_mvhd},
    {"trak", P_trak},
    {"iods", P_iods},
    {"udta", P_udta},
    {nullptr, nullptr}};

constinit isobox udta_box[] = {
    {"hnti", P_hnti},
    {"tsel", P_tsel},
    {nullptr, nullptr}};

constinit isobox hnti_box[] = {
    {"sdp ", P_sdp},
    {"rtp ", P_hnti_rtp},
    {nullptr, nullptr}};

constinit isobox trak_box[] = {
    {"tkhd", P_tkhd},
    {"mdia", P_mdia},
    {"edts", P_edts},
    {"meta", P_meta},
    {"tref", P_tref},
    {"udta", P_udta},
    {nullptr, nullptr}};

constinit isobox tref_box[] = {
    {"hint", P_hint, kOfTrack},
    {nullptr, nullptr}};

constinit isobox meta_box[] = {
    {"xml ", P_xml, kOfTrack},
    {nullptr, nullptr}};

constinit isobox edts_box[] = {
    {"elst", P_elst, kOfTrack},
    {nullptr, nullptr}};

constinit isobox mdia_box[] = {
    {"mdhd", P_mdhd, kOfTrack},
    {"hdlr", P_hdlr, kOfTrack},
    {"minf", P_minf},
    {nullptr, nullptr}};

constinit isobox minf_box[] = {
    {"smhd", P_smhd},
    {"vmhd", P_vmhd},
    {"hmhd", P_hmhd},
    {"dinf", P_dinf},
    {"stbl", P_stbl, kOfTrack},
    {nullptr, nullptr}};

constinit isobox stbl_box[] = {
    {"stsd", P_stsd},
    {"stts", P_stts, kOfTrack},
    {"stsc", P_stsc, kOfTrack},
    {"stsz", P_stsz, kOfTrack},
    {"stco", P_stco, kOfTrack},
    {"ctts", P_ctts, kOfTrack},
    {"stss", P_stss, kOfTrack},
    {"sbgp", P_sbgp, kOfTrack},
    {"sgpd", P_sgpd, kOfTrack},
    {nullptr, nullptr}};

constinit isobox stsd_box[] = {
    {"mp4a", P_mp4a, kOfTrack},
    {"mp4v", P_mp4v, kOfTrack},
    {"samr", P_samr, kOfTrack},
    {"sawb", P_sawb, kOfTrack},
    {"sawp", P_sawp, kOfTrack},
    {"s263", P_s263, kOfTrack},
    {"avc1", P_avc1, kOfTrack},
    {"rtp ", P_rtp, kOfTrack},
    {"srtp", P_srtp, kOfTrack},
    {nullptr, nullptr}};

constinit isobox rtp_box[] = {
    {"tims", P_tims, kOfTrack},
    {"tsro", P_tsro, kOfTrack},
    {"snro", P_snro, kOfTrack},
    {"srpp", P_srpp, kOfTrack},
    {nullptr, nullptr}};

constinit isobox sinf_box[] = {
    {"schm", P_schm, kOfTrack},
    {"schi", P_schi, kOfTrack},
    {nullptr, nullptr}};

constinit isobox dec_spec_box[] = {
    {"damr", P_damr, kOfTrack},
    {"dawp", P_dawp, kOfTrack},
    {"d263", P_d263, kOfTrack},
    {"avcC", P_avcC, kOfTrack},
    {"esds", P_esds, kOfTrack},
    {nullptr, nullptr}};

constinit isobox dinf_box[] = {
    {"dref", P_dref},
    {nullptr, nullptr}};
// clang-format on
