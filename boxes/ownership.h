// Children that come with an owned flag.
#pragma once

#include <vector>

#include "qlip/vorn3gp/box.h"

// Define the setter and the getter of the child `member` of class Name##Box. `replace` is what happens to the
// owned child that the setter replaces: set_child keeps it, replace_child deletes it.
#define QLIP_CHILD_SETTER(Parent, Name, member, replace)            \
    void Parent::Set##Name(Name##Box* child, bool owned) {          \
        qlip::replace(*this, member, member##_owned, child, owned); \
    }
#define QLIP_CHILD_GETTER(Parent, Name, member) \
    Name##Box* Parent::Get##Name() const {      \
        return member;                          \
    }
#define QLIP_CHILD(Parent, Name, member)               \
    QLIP_CHILD_SETTER(Parent, Name, member, set_child) \
    QLIP_CHILD_GETTER(Parent, Name, member)

namespace qlip {

// Once for all classes, so that no list of children has code of its own for it.
void delete_box(const Vorn3gp::Box* box);

// A replaced child stays until its owner goes, since whoever got a pointer to it may still hold that; then it
// is deleted with it. One that is attached again, or deleted by its holder, stays no longer.
void keep_replaced(const Vorn3gp::Box& owner, Vorn3gp::Box* child);
void forget_replaced(const Vorn3gp::Box* child);

// For the destructor of every box: also forgets the box itself.
void delete_replaced_of(const Vorn3gp::Box* owner);

template <class Child>
void set_child(const Vorn3gp::Box& owner, Child*& member, bool& flag, Child* child, bool owned) {
    if (member && flag && member != child) keep_replaced(owner, member);
    forget_replaced(child);
    member = child;
    flag = owned;
}

// As set_child, but the replaced child is deleted.
template <class Child>
void replace_child(const Vorn3gp::Box&, Child*& member, bool& flag, Child* child, bool owned) {
    if (member && flag && member != child) delete_box(member);
    forget_replaced(child);
    member = child;
    flag = owned;
}

template <class Child>
void append_child(std::vector<Child*>& children, std::vector<bool>& flags, Child* child, bool owned) {
    forget_replaced(child);
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
        if (flags[i]) delete_box(children[i]);
    }
}

template <class Child>
unsigned int size_of(const std::vector<Child*>& children) {
    unsigned int size = 0;
    for (const Child* child : children)
        size += child->GetSize();
    return size;
}

template <class Child>
Vorn3gp::Stream& dump(Vorn3gp::Stream& stream, const std::vector<Child*>& children) {
    for (const Child* child : children)
        child->Dump(stream);
    return stream;
}

}  // namespace qlip
