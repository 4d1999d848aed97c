// What all containers share: one list of children each, over which the container is read, dumped, sized and
// deleted.
#pragma once

#include <memory>
#include <span>
#include <type_traits>

#include "boxes/fields.h"
#include "boxes/ownership.h"

namespace qlip {

enum class Presence { Optional, Required };

// A kind of child of one container, which is the parent that the functions take. The order of a container's
// list is that of a dump.
struct Child {
    unsigned int type;
    size_t bytes;                                   // of an object
    Presence presence;                              // in a dump
    Vorn3gp::Box& (*make)(Vorn3gp::ContainerBox&);  // attaches a new one, owned
    bool (*is_missing)(const Vorn3gp::ContainerBox&);
    unsigned int (*size)(const Vorn3gp::ContainerBox&);  // 0 when missing
    void (*dump)(const Vorn3gp::ContainerBox&, Vorn3gp::Stream&);
    void (*delete_owned)(const Vorn3gp::ContainerBox&);
};

using Children = std::span<const Child>;

// The operations of a Child whose member, owned flag (or the two sequences of them) and setter are these.
template <auto Member, auto Owned, auto Attach>
struct ChildOperations;

template <class Parent, class Type, Type Parent::*Member, auto Owned, auto Attach>
struct ChildOperations<Member, Owned, Attach> {
    static constexpr bool kIsSequence = !std::is_pointer_v<Type>;

    template <class Visit>
    static void for_each(const Vorn3gp::ContainerBox& box, Visit visit) {
        const auto& parent = static_cast<const Parent&>(box);
        if constexpr (kIsSequence) {
            const auto& owned = parent.*Owned;
            for (size_t i = 0; i < (parent.*Member).size(); ++i)
                visit((parent.*Member)[i], i < owned.size() && owned[i]);
        } else if (parent.*Member) {
            visit(parent.*Member, parent.*Owned);
        }
    }

    static Vorn3gp::Box& make(Vorn3gp::ContainerBox& box) {
        return attach_new(static_cast<Parent&>(box), Attach);
    }

    static bool is_missing(const Vorn3gp::ContainerBox& box) {
        bool missing = true;
        for_each(box, [&missing](const auto*, bool) { missing = false; });
        return missing;
    }

    static unsigned int size(const Vorn3gp::ContainerBox& box) {
        unsigned int sum = 0;
        for_each(box, [&sum](const auto* child, bool) { sum += child->GetSize(); });
        return sum;
    }

    static void dump(const Vorn3gp::ContainerBox& box, Vorn3gp::Stream& stream) {
        for_each(box, [&stream](const auto* child, bool) { child->Dump(stream); });
    }

    static void delete_owned(const Vorn3gp::ContainerBox& box) {
        for_each(box, [](const auto* child, bool owned) {
            if (owned) delete_box(child);
        });
    }

  private:
    template <class Class>
    static constexpr size_t bytes_of(void (Parent::*)(Class*, bool)) {
        return sizeof(Class);
    }

    template <class Class>
    static Vorn3gp::Box& attach_new(Parent& parent, void (Parent::*attach)(Class*, bool)) {
        auto child = std::make_unique<Class>();
        (parent.*attach)(child.get(), true);
        return *child.release();
    }

  public:
    static constexpr size_t kBytes = bytes_of(Attach);
};

template <auto Member, auto Owned, auto Attach>
constexpr Child child(const char (&type)[5], Presence presence = Presence::Optional) {
    using Operations = ChildOperations<Member, Owned, Attach>;
    return {Vorn3gp::type_word(type), Operations::kBytes, presence,         Operations::make,
            Operations::is_missing,   Operations::size,   Operations::dump, Operations::delete_owned};
}

// The new child for a type word, charged to the stream's meter: by the list, or an UnknownBox among the
// optional boxes.
Vorn3gp::Box& make_child(Vorn3gp::ContainerBox& parent, Vorn3gp::Stream stream, unsigned int type,
                         Children children);

// Whether a child was reset at the end of the stream and has left it where it was: the next one would be just
// that again.
bool is_at_end(const Vorn3gp::Box& child, unsigned int before, unsigned int after);

// Reads a container: its header, then children up to its end. Where a child's Read leaves the stream, the
// next one is looked for.
Vorn3gp::Stream& read_container(Vorn3gp::ContainerBox& box, Vorn3gp::Stream& stream, unsigned int limit,
                                Children children);

// Writes a container, or the children alone. Ends the process, as a failed assertion does and in all builds,
// when a required child is missing: a dump of an incomplete tree is an error in the program. On a stream with
// limits it throws SimpleException instead.
Vorn3gp::Stream& dump_container(const Vorn3gp::ContainerBox& box, Vorn3gp::Stream& stream, Children children);
Vorn3gp::Stream& dump_children(const Vorn3gp::ContainerBox& box, Vorn3gp::Stream& stream, Children children);

unsigned int size_of_container(const Vorn3gp::ContainerBox& box, Children children);

void delete_children(const Vorn3gp::ContainerBox& box, Children children);

}  // namespace qlip
