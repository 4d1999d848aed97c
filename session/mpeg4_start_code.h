// The search for MPEG-4 visual start codes (ISO/IEC 14496-2 6.2.1): 00 00 01 and a code byte.
//
// The byte behind the code must be below 64, whatever the code. For a VOP that is what tells intra frames
// from the others; that a configuration with a profile of 64 or more counts as none is kept for receivers
// [mpeg4-profile-64].
#pragma once

namespace qlip {

// Where the first start codes of each kind stand, or -1.
struct StartCodes {
    int sequence = -1;  // visual_object_sequence_start_code
    int vop = -1;       // vop_start_code of an intra VOP
};

// Position of the first start code with this code byte, or -1.
int find_start_code(const unsigned char* data, int length, unsigned char code);

// Both in one pass.
StartCodes find_start_codes(const unsigned char* data, int length);

}  // namespace qlip
