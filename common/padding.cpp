#include "common/padding.h"

unsigned int GetPadding(unsigned int n) {
    return ((n + 3) & ~3U) - n;
}
