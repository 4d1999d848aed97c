// The choices among the records of a file: tracks and brands.
#include "iso/model/model.h"

#include <cstring>

#include "iso/model/arena.h"
#include "qlip/SimpleException.h"

using namespace qlip;

namespace {

constexpr size_t kBrandLength = 4;

bool same_brand(const char* one, const char* other) {
    return std::strncmp(one, other, kBrandLength) == 0;
}

bool is_compatible(const iso_file* file, const char* brand) {
    if (same_brand(file->major_brand, brand)) return true;
    if (!file->compatible_brands) return false;
    char wanted[kBrandLength + 1] = {};
    std::memcpy(wanted, brand, kBrandLength);
    return std::strstr(file->compatible_brands, wanted) != nullptr;
}

}  // namespace

iso_track* isoFFselect(iso_file* file, char* handler, int n) {
    if (!file || file->writing) return nullptr;
    int count = 0;
    for (iso_track* track = file->tracks; track; track = track->next) {
        if (handler && std::strcmp(track->handler, handler) != 0) continue;
        if (++count == n) return track;
    }
    return nullptr;
}

int isoFFcompatible(iso_file* file, char* brands) {
    if (!file || !brands) return -1;
    for (const char* brand = brands; std::strlen(brand) >= kBrandLength;) {
        if (is_compatible(file, brand)) return 0;
        brand += kBrandLength;
        if (*brand == ' ') ++brand;
    }
    return -1;
}

int isoFFsetBrand(iso_file* file, char* brands, int minor) {
    if (!file || !brands) return -1;
    const size_t length = std::strlen(brands) + 1;
    if (length % (kBrandLength + 1) != 0 || length > 0x7FFFFFFF) return -1;
    std::memcpy(file->major_brand, brands, kBrandLength);
    file->major_brand[kBrandLength] = '\0';
    file->minor_version = static_cast<unsigned int>(minor);
    count_free(file->compatible_brands);
    file->compatible_brands = static_cast<char*>(isoFFmalloc(file, static_cast<int>(length)));
    if (!file->compatible_brands) return -1;
    std::memcpy(file->compatible_brands, brands, length);
    return 0;
}
