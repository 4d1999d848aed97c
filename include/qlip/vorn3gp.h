// The box model: a 3GP file (ISO/IEC 14496-12, 3GPP TS 26.244) as a tree of objects, one class per box. Every
// object reads itself from a host's callback record, writes itself back, and says how big it would be.
//
//   Vorn3gp::Stream stream = &record;
//   Vorn3gp::Simple3gp file;
//   file.Read(stream, 0);
//   for (const Vorn3gp::TrakBox* trak : file.GetMoov()->GetTraks()) ...
//
// Everything is 32-bit: sizes, positions and offsets wrap, and there are no 64-bit boxes. All boxes are read
// in their version 0 form. What the tree tolerates and what it does not is told at Box::Read and at
// Simple3gp.
//
// Failures are SimpleException, for a callback that failed and for a box that ends beyond the file, and
// std::bad_alloc, for counts and sizes that the file cannot hold and for walks that would never end: reading
// a tree takes at most 32 callbacks and 32 bytes of memory for a byte of the file, and a constant.
//
// Fields are public: a host that generates a file fills them directly. Type words, brands, handler types and
// vendors stay in file byte order; compare them with Vorn3gp::type_word("moov"). All other fields are in
// machine order.
//
// A tree and its stream belong to one thread at a time. Boxes are not copied.
#pragma once

#include "qlip/vorn3gp/box.h"
#include "qlip/vorn3gp/containers.h"
#include "qlip/vorn3gp/file.h"
#include "qlip/vorn3gp/header_boxes.h"
#include "qlip/vorn3gp/reference_boxes.h"
#include "qlip/vorn3gp/sample_entries.h"
#include "qlip/vorn3gp/sample_tables.h"
#include "qlip/vorn3gp/stream.h"
