// Boxes read from and dumped to bytes in memory.
#pragma once

#include "qlip/vorn3gp.h"
#include "tests/support/box_builder.h"
#include "tests/support/failures.h"
#include "tests/support/memory_host.h"

namespace qlip_test {

// A host and the stream that box operations take.
struct BoxStream {
    explicit BoxStream(Bytes content = {}) : host(std::move(content)) {}

    template <class Readable>
    Readable& read_into(Readable& box) {
        box.Read(stream, static_cast<unsigned int>(host.bytes.size()));
        return box;
    }

    MemoryHost host;
    Vorn3gp::Stream stream = host.record();
};

inline Bytes dumped(const Vorn3gp::Box& box) {
    BoxStream out;
    box.Dump(out.stream);
    return out.host.bytes;
}

}  // namespace qlip_test
