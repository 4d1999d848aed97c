#undef NDEBUG
#include "boxes/container.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdio>

#include "boxes/meter.h"

namespace {

constexpr const char* kPath = "filegen/src/container";

// A child's member is named like its type.
void require(const Vorn3gp::ContainerBox& box, const qlip::Child& child, Vorn3gp::Stream stream) {
    if (child.presence == qlip::Presence::Optional || !child.is_missing(box)) return;
    const auto* name = reinterpret_cast<const char*>(&child.type);
    if (qlip::limits_of(stream))
        throw SimpleException(kPath, __LINE__, "Could not find %.4s box to dump", name);
    std::array<char, 16> assertion;
    std::snprintf(assertion.data(), assertion.size(), "%.4s != __null", name);
    __assert_fail(assertion.data(), kPath, __LINE__, "Dump");
}

}  // namespace

namespace qlip {

Vorn3gp::Box& make_child(Vorn3gp::ContainerBox& parent, Vorn3gp::Stream stream, unsigned int type,
                         Children children) {
    const auto known =
        std::find_if(children.begin(), children.end(), [type](const Child& row) { return row.type == type; });
    take_box(stream, known != children.end() ? known->bytes : sizeof(Vorn3gp::UnknownBox));
    if (known != children.end()) return known->make(parent);
    auto unknown = std::make_unique<Vorn3gp::UnknownBox>();
    parent.AddOptionalBox(unknown.get(), true);
    return *unknown.release();
}

bool is_at_end(const Vorn3gp::Box& child, unsigned int before, unsigned int after) {
    return before == after && child.GetType() == kNoType && child.GetSizeWhole() == 0;
}

Vorn3gp::Stream& read_container(Vorn3gp::ContainerBox& box, Vorn3gp::Stream& stream, unsigned int limit,
                                Children children) {
    Metered metered(stream);
    Vorn3gp::Stream& from = metered.stream();
    unsigned int end = Vorn3gp::macro_Tell(from);
    box.Vorn3gp::Box::Read(from, limit);
    end += box.GetSizeWhole();
    for (unsigned int at = Vorn3gp::macro_Tell(from); at < end;) {
        Vorn3gp::Box& next = make_child(box, from, Vorn3gp::peek_box(from, limit), children);
        next.Read(from, limit);
        const unsigned int before = at;
        at = Vorn3gp::macro_Tell(from);
        if (is_at_end(next, before, at)) break;
    }
    return stream;
}

Vorn3gp::Stream& dump_container(const Vorn3gp::ContainerBox& box, Vorn3gp::Stream& stream,
                                Children children) {
    for (const Child& row : children)
        require(box, row, stream);
    box.Vorn3gp::Box::Dump(stream);
    return dump_children(box, stream, children);
}

Vorn3gp::Stream& dump_children(const Vorn3gp::ContainerBox& box, Vorn3gp::Stream& stream, Children children) {
    for (const Child& row : children)
        require(box, row, stream);
    for (const Child& row : children)
        row.dump(box, stream);
    return stream;
}

unsigned int size_of_container(const Vorn3gp::ContainerBox& box, Children children) {
    unsigned int size = box.Vorn3gp::Box::GetSize();
    for (const Child& row : children)
        size += row.size(box);
    return size;
}

void delete_children(const Vorn3gp::ContainerBox& box, Children children) {
    for (const Child& row : children)
        row.delete_owned(box);
}

}  // namespace qlip
