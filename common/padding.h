#pragma once

// Bytes from n up to the next multiple of 4.
inline unsigned int GetPadding(unsigned int n) {
    return ((n + 3) & ~3U) - n;
}
