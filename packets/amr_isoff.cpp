#include "qlip/amr_isoff.h"

#include "formats/amr.h"

using namespace qlip;

namespace {

unsigned char flip_high(unsigned char byte) {
    return flip[byte >> 4];
}

unsigned char flip_low(unsigned char byte) {
    return flip[byte & 15];
}

unsigned char join(unsigned int high, unsigned int low) {
    return static_cast<unsigned char>(high << 4 | low);
}

bool has_speech(unsigned int type) {
    return type < kAmrFirstWithoutSpeech;
}

bool is_known(unsigned int type) {
    return has_speech(type) || type == kAmrNoData;
}

int pack_speech(const unsigned char* in, unsigned char* out, unsigned int type) {
    unsigned char* const begin = out;
    unsigned int carry = type;
    int left = bits[type] + 4;
    for (++in; left > 4; left -= 8, ++in) {
        *out++ = join(flip_high(*in), carry);
        carry = flip_low(*in);
    }
    if (left > 0) *out++ = static_cast<unsigned char>(carry);
    return static_cast<int>(out - begin);
}

int unpack_speech(const unsigned char* in, unsigned char* out, unsigned int type) {
    unsigned char* const begin = out;
    *out++ = static_cast<unsigned char>(amr_storage_entry(type) | kAmrQuality);
    int left = bits[type];
    for (; left > 4; left -= 8, ++in)
        *out++ = join(flip_high(in[0]), flip_low(in[1]));
    if (left > 0) *out++ = join(flip_high(*in), 0);
    return static_cast<int>(out - begin);
}

// Converts frame by frame until the input ends, a frame is cut short, or one cannot be converted.
int convert_run(void* in, void* out, int length, int format, int (*convert)(void* in, void* out)) {
    auto* from = static_cast<unsigned char*>(in);
    auto* to = static_cast<unsigned char*>(out);
    int total = 0;
    while (length >= 1) {
        const int size = amr_get_size(from, format);
        if (size > length) break;
        const int converted = convert(from, to + total);
        if (converted == 0) break;
        from += size;
        length -= size;
        total += converted;
    }
    return total;
}

}  // namespace

int amr_get_size(void* frame, int format) {
    const unsigned char first = *static_cast<const unsigned char*>(frame);
    switch (format) {
        case AMR_FORMAT_STORAGE:
            return amr_storage_size(amr_storage_type(first));
        case AMR_FORMAT_PACKED:
            return amr_packed_size(amr_packed_type(first));
        case AMR_FORMAT_WB_STORAGE:
            return amr_wb_size[amr_storage_type(first)] + 1;
        default:
            return -1;
    }
}

int amr_get_format(void* frame, int size, int* mode) {
    const unsigned char first = *static_cast<const unsigned char*>(frame);
    unsigned int type = amr_storage_type(first);
    *mode = static_cast<int>(type);
    if (amr_storage_size(type) == size && is_known(type)) return AMR_FORMAT_STORAGE;
    type = amr_packed_type(first);
    *mode = static_cast<int>(type);
    if (amr_packed_size(type) == size && is_known(type)) return AMR_FORMAT_PACKED;
    return -1;
}

int amr2cod(void* in, void* out) {
    const auto* from = static_cast<const unsigned char*>(in);
    auto* to = static_cast<unsigned char*>(out);
    const unsigned int type = amr_storage_type(*from);
    if (has_speech(type)) return pack_speech(from, to, type);
    if (type != kAmrNoData) return 0;
    *to = kAmrNoData;
    return 1;
}

int cod2amr(void* in, void* out) {
    const auto* from = static_cast<const unsigned char*>(in);
    auto* to = static_cast<unsigned char*>(out);
    const unsigned int type = amr_packed_type(*from);
    if (has_speech(type)) return unpack_speech(from, to, type);
    if (type != kAmrNoData) return 0;
    *to = amr_storage_entry(kAmrNoData);
    return 1;
}

int amr1_to_amr2(void* in, void* out, int length) {
    return convert_run(in, out, length, AMR_FORMAT_STORAGE, amr2cod);
}

int amr2_to_amr1(void* in, void* out, int length) {
    return convert_run(in, out, length, AMR_FORMAT_PACKED, cod2amr);
}
