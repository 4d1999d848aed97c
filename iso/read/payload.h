// Memory for what boxes carry, bounded by what the moov payload can hold: counts and sizes in a file are
// claims.
#pragma once

#include "qlip/isoff.h"

namespace qlip {

// Largest payload that is taken at its word. A larger box must prove that the stream reaches its end. Fuzz
// targets trust less: a sanitizer pays for each byte of a block.
#ifndef QLIP_TRUSTED_PAYLOAD
#define QLIP_TRUSTED_PAYLOAD (64 * 1024 * 1024)
#endif
inline constexpr int kTrustedPayload = QLIP_TRUSTED_PAYLOAD;

// Bytes of the buffer that lie behind the cursor: how far back it may move.
[[nodiscard]] int consumed_of_buffer(iso_file* file);

// True if a box may ask for so many payload bytes: no more than the whole payload holds. Those that are
// missing behind the cursor are granted once over, so that many boxes cannot claim the same absent bytes.
[[nodiscard]] bool may_claim(iso_file* file, long long bytes);

// Zeroed arena memory for a payload of n bytes and `extra` more, or null.
[[nodiscard]] void* claim(iso_file* file, int n, int extra = 0);

// Memory filled with the next n bytes and a terminator behind them, or null.
[[nodiscard]] unsigned char* read_block(iso_file* file, int n);

// A table of `count` rows of `columns` 32-bit words each, in machine order; null when refused. Words of the
// moov buffer are converted where they lie.
[[nodiscard]] unsigned int* read_table(iso_file* file, unsigned int count, unsigned int columns);

// The entries of an stco table as the starts of chunks, or null. *read counts those that are there: a chunk
// whose place the file does not tell is none.
[[nodiscard]] chunk_span* read_chunk_starts(iso_file* file, unsigned int count, unsigned int* read);

// Reads `count` big-endian words into `to`; those behind the end of the moov buffer are zero, each with the
// line that tells so.
void read_words(iso_file* file, unsigned int* to, long long count);

}  // namespace qlip
