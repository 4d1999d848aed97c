// Walking an RTP hint sample (ISO/IEC 14496-12, RTP hint track format) without leaving it, and the
// constructors that audio and video producers handle alike.
//
// Nothing in a hint sample can be trusted to stay inside it. Where it does not, the functions throw
// kBadHintContent.
#pragma once

#include <cstddef>

#include "qlip/propfile.h"

namespace qlip {

// Whether a packet's header, with its extra information, lies within the `left` bytes at the cursor.
bool packet_header_fits(const unsigned char* cursor, size_t left);

// The headers; the cursor ends behind them.
void read_sample_header(const PropFile& file, _TAG_RTPsample3gp* sample, const unsigned char** cursor);
void read_packet_header(const PropFile& file, _TAG_RTPpacket3gp* packet, const unsigned char** cursor);

// The kind byte of a constructor that lies in the hint sample as a whole; the cursor ends behind the byte.
unsigned char read_constructor_kind(const PropFile& file, const unsigned char** cursor, const char* path);

// Calls the producer's operation for the kind; returns the bytes that it added.
unsigned int run_constructor(PropFile& file, unsigned char kind, const unsigned char** cursor);

// The producers' operations, for a frame buffer of `capacity`. When they throw kBadHintContent, the cursor
// stands behind the constructor already.
unsigned int append_immediate(PropFile& file, const unsigned char** cursor, unsigned int capacity);
unsigned int append_media_sample(PropFile& file, const unsigned char** cursor, unsigned int capacity);
unsigned int skip_sample_description(const unsigned char** cursor);

}  // namespace qlip
