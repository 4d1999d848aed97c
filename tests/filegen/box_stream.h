// Boxes read from and dumped to bytes in memory.
#pragma once

#include "qlip/vorn3gp.h"
#include "tests/support/box_builder.h"
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

// What an action failed with; empty when it did not.
template <class Action>
std::string message_of(Action action) {
    try {
        action();
    } catch (const SimpleException& failure) {
        return failure.m_message;
    }
    return {};
}

}  // namespace qlip_test
