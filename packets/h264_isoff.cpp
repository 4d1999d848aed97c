#include "packets/h264_isoff.h"

#include "qlip/wld_native.h"

unsigned int h264_get_nal_size(unsigned char* data, int prefix_size) {
    return qlip::read_nal_size(data, prefix_size);
}
