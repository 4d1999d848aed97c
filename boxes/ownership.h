// Children that come with an owned flag.
#pragma once

#include <vector>

#include "qlip/vorn3gp/box.h"

namespace qlip {

// Keeps an object allocated for the rest of the process. A replaced child is never deleted: whoever got a
// pointer to it may still hold that.
void keep_for_good(const void* object) noexcept;

template <class Child>
void set_child(Child*& member, bool& flag, Child* child, bool owned) {
    if (member && flag && member != child) keep_for_good(member);
    member = child;
    flag = owned;
}

template <class Child>
void append_child(std::vector<Child*>& children, std::vector<bool>& flags, Child* child, bool owned) {
    flags.push_back(owned);
    try {
        children.push_back(child);
    } catch (...) {
        flags.pop_back();
        throw;
    }
}

template <class Child>
void delete_owned(const std::vector<Child*>& children, const std::vector<bool>& flags) {
    for (size_t i = 0; i < children.size() && i < flags.size(); ++i) {
        if (flags[i]) delete children[i];
    }
}

template <class Child>
unsigned int size_of_children(const std::vector<Child*>& children) {
    unsigned int size = 0;
    for (const Child* child : children)
        size += child->GetSize();
    return size;
}

template <class Child>
Vorn3gp::Stream& dump_children(Vorn3gp::Stream& stream, const std::vector<Child*>& children) {
    for (const Child* child : children)
        child->Dump(stream);
    return stream;
}

}  // namespace qlip
