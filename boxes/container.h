// What all containers share: the walk of their children when read, and the description of their members by
// which they are dumped, sized and deleted.
//
// A description of members is a generic lambda that names them in the order of a dump, each with its owned
// flag and the text of the assertion that requires it, or null for a child that may be missing.
#pragma once

#include <memory>
#include <span>

#include "boxes/fields.h"
#include "boxes/ownership.h"

namespace qlip {

// One row of a container's table of children: makes a child of that type and attaches it, owned.
struct ChildRow {
    unsigned int type;
    Vorn3gp::Box& (*make)(Vorn3gp::ContainerBox& parent);
};

template <class Parent, class Child>
Vorn3gp::Box& attach_new(Vorn3gp::ContainerBox& parent, void (Parent::*attach)(Child*, bool)) {
    auto child = std::make_unique<Child>();
    (static_cast<Parent&>(parent).*attach)(child.get(), true);
    return *child.release();
}

template <auto Attach>
Vorn3gp::Box& make_child(Vorn3gp::ContainerBox& parent) {
    return attach_new(parent, Attach);
}

// The child for a type word: by the table, or an UnknownBox among the optional boxes.
Vorn3gp::Box& make_child_of(Vorn3gp::ContainerBox& parent, unsigned int type,
                            std::span<const ChildRow> table);

// Watches a walk over boxes, whose sizes may keep it from getting anywhere. Nothing but the position decides
// what comes next, so a walk that meets a position again has no end.
class WalkGuard {
  public:
    // Whether the walk goes on after `child`, which took the stream from `before` to `after`. A child that
    // was reset at the end of the stream ends it. Throws std::bad_alloc, which is what an endless walk would
    // come to.
    bool goes_on(const Vorn3gp::Box& child, unsigned int before, unsigned int after);

  private:
    bool went_back_ = false;
};

// Reads a container: its header, then children up to its end. Where a child's Read leaves the stream, the
// next one is looked for.
Vorn3gp::Stream& read_container(Vorn3gp::ContainerBox& box, Vorn3gp::Stream& stream, unsigned int limit,
                                std::span<const ChildRow> table);

// Ends the process as a failed assertion does, in all builds: a dump of an incomplete tree is an error in the
// program.
void require(const void* child, const char* assertion);

template <class Container, class Members>
void require_members(const Container& box, Members describe) {
    describe(box, [](const auto* child, bool, const char* assertion) {
        if (assertion) require(child, assertion);
    });
}

template <class Container, class Members>
Vorn3gp::Stream& dump_members(Vorn3gp::Stream& stream, const Container& box, Members describe) {
    describe(box, [&stream](const auto* child, bool, const char*) {
        if (child) child->Dump(stream);
    });
    return stream;
}

// Header and members.
template <class Container, class Members>
Vorn3gp::Stream& dump_container(Vorn3gp::Stream& stream, const Container& box, Members describe) {
    require_members(box, describe);
    box.Vorn3gp::Box::Dump(stream);
    return dump_members(stream, box, describe);
}

template <class Container, class Members>
unsigned int size_of_container(const Container& box, Members describe) {
    unsigned int size = box.Vorn3gp::Box::GetSize();
    describe(box, [&size](const auto* child, bool, const char*) {
        if (child) size += child->GetSize();
    });
    return size;
}

template <class Container, class Members>
void delete_members(const Container& box, Members describe) {
    describe(box, [](const auto* child, bool owned, const char*) {
        if (owned) delete child;
    });
}

}  // namespace qlip
