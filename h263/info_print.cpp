// The walker's state as text on standard output.
#include <array>
#include <cstddef>
#include <cstdio>

#include "h263/walk.h"

using namespace qlip;

namespace {

constexpr std::array kSourceFormats{"forbidden", "sub-QCIF", "QCIF",     "CIF",
                                    "4CIF",      "16CIF",    "reserved", "extended PTYPE"};

const char* source_format_name(unsigned int source_format) {
    return source_format < kSourceFormats.size() ? kSourceFormats[source_format] : "";
}

void print_start(const tbq_state_t& state, const tbq_pos_t& pos) {
    printf("  Start byte         = 0x%x\n", printed_byte(state, pos));
    printf("  Start bit          = %u\n", pos.bit);
}

}  // namespace

void tbq_picture_info_print(tbq_state_t* state, const tbq_pos_t* pos) {
    const tbq_picture_info_t& picture = state->picture;
    printf("\nPicture Header: picture %u start byte 0x%x bit %u\n", state->picture_number,
           printed_byte(*state, *pos), pos->bit);
    printf("  TR                 = %u\n", picture.tr);
    printf("  Coding type        = %u (%s)\n", picture.coding_type,
           picture.coding_type == 0 ? "I-picture" : "P-picture");
    printf("  Source format      = %u (%s)\n", picture.source_format,
           source_format_name(picture.source_format));
    printf("  PQUANT             = %u\n", picture.pquant);
    printf("  CPM                = %u\n", picture.cpm);
    printf("  PEI                = %u\n", picture.pei);
    printf("  PLUSPTYPE          = %u\n", picture.plusptype);
    printf("  UFEP               = %u\n", picture.ufep);
    printf("  PCF (custom clock) = %u\n", picture.pcf);
    printf("  AIC                = %u\n", picture.aic);
    printf("  DF                 = %u\n", picture.df);
    printf("  SS                 = %u (%s)\n", picture.ss,
           picture.ss == 0 ? "GOB mode" : "Slice structured mode");
    printf("  SSS                = %u\n", picture.sss);
    printf("  MQ                 = %u\n", picture.mq);
    printf("  Clock conv. code   = %u\n", picture.clock_conv_code);
    printf("  Clock divisor      = %u\n", picture.clock_divisor);
}

void tbq_gob_info_print(tbq_state_t* state, const tbq_pos_t* pos) {
    const tbq_gob_info_t& gob = state->gob;
    printf("\nGOB Information:\n");
    print_start(*state, *pos);
    printf("  Group number       = %u\n", gob.group_number);
    printf("  GOB frame ID       = %u\n", gob.gob_frame_id);
    printf("  GQUANT             = 0x%x\n", gob.gquant);
}

void tbq_slice_info_print(tbq_state_t* state, const tbq_pos_t* pos) {
    printf("\nSLICE Information:\n");
    print_start(*state, *pos);
    printf("  SQUANT             = 0x%x\n", state->slice.squant);
}

void tbq_mb_info_print(tbq_state_t* state, const tbq_pos_t* pos) {
    const tbq_mb_info_t& mb = state->mb;
    const unsigned int byte = printed_byte(*state, *pos);
    printf("\nMacroblock Information: picture %u mb %u start 0x%x bit %u\n", state->picture_number,
           mb.mb_number, byte, pos->bit);
    if (state->trace != 0) {
        printf("frame %u, MB %u start byte 0x%x bit %u\n", state->picture_number, mb.mb_number, byte,
               pos->bit);
    }
    printf("  Macroblock type    = %u\n", mb.mb_type);
    printf("  CBPY               = 0x%x\n", mb.cbpy);
    printf("  CBPC               = 0x%x\n", mb.cbpc);
    printf("  COD                = %u\n", mb.cod);
    printf("  HMVD index         = %u\n", mb.hmvd);
    printf("  VMVD index         = %u\n", mb.vmvd);
    printf("  HMVD 3 index       = %u\n", mb.hmvd3);
    printf("  VMVD 3 index       = %u\n", mb.vmvd3);
    printf("  Number of TCOEF    = %u\n", mb.tcoef_count);
}
