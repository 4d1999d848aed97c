// Boxes that only hold other boxes, and boxes whose payload nobody needs.
#include "iso/read/box_handlers.h"
#include "iso/read/box_tables.h"
#include "iso/read/stream_input.h"

using namespace qlip;

namespace {

int pass_over(iso_file* file, int size) {
    skip(file, size);
    return kGoOn;
}

}  // namespace

int P_trak(iso_file* file, int size) {
    return parse(file, trak_box, size);
}

int P_udta(iso_file* file, int size) {
    return parse(file, udta_box, size);
}

int P_hnti(iso_file* file, int size) {
    return parse(file, hnti_box, size);
}

int P_tref(iso_file* file, int size) {
    return parse(file, tref_box, size);
}

// Read without the version word that the published layout has: kept for files of the family, which leave it
// out [meta-without-version].
int P_meta(iso_file* file, int size) {
    return parse(file, meta_box, size);
}

int P_edts(iso_file* file, int size) {
    return parse(file, edts_box, size);
}

int P_mdia(iso_file* file, int size) {
    return parse(file, mdia_box, size);
}

int P_minf(iso_file* file, int size) {
    return parse(file, minf_box, size);
}

int P_dinf(iso_file* file, int size) {
    return parse(file, dinf_box, size);
}

// All entries are walked, so the last one decides what the track is.
int P_stsd(iso_file* file, int size) {
    skip(file, 8);  // version, flags, entry count
    return parse(file, stsd_box, size - 8);
}

int P_hmhd(iso_file* file, int size) {
    return pass_over(file, size);
}

int P_vmhd(iso_file* file, int size) {
    return pass_over(file, size);
}

int P_smhd(iso_file* file, int size) {
    return pass_over(file, size);
}

int P_dref(iso_file* file, int size) {
    return pass_over(file, size);
}
