#undef NDEBUG
#include "boxes/container.h"

#include <algorithm>
#include <cassert>
#include <new>

namespace {

constexpr const char* kPath = "filegen/src/container";
constexpr unsigned int kUnknown = Vorn3gp::type_word("????");

}  // namespace

namespace qlip {

Vorn3gp::Box& make_child_of(Vorn3gp::ContainerBox& parent, unsigned int type,
                            std::span<const ChildRow> table) {
    const auto row = std::find_if(table.begin(), table.end(),
                                  [type](const ChildRow& candidate) { return candidate.type == type; });
    if (row != table.end()) return row->make(parent);
    auto unknown = std::make_unique<Vorn3gp::UnknownBox>();
    parent.AddOptionalBox(unknown.get(), true);
    return *unknown.release();
}

bool WalkGuard::goes_on(const Vorn3gp::Box& child, unsigned int before, unsigned int after) {
    if (after > before) return true;
    const bool was_reset = child.GetType() == kUnknown && child.GetSizeWhole() == 0;
    if (after == before && was_reset) return false;
    if (after == before || went_back_) throw std::bad_alloc();
    went_back_ = true;
    return true;
}

Vorn3gp::Stream& read_container(Vorn3gp::ContainerBox& box, Vorn3gp::Stream& stream, unsigned int limit,
                                std::span<const ChildRow> table) {
    unsigned int end = Vorn3gp::macro_Tell(stream);
    box.Vorn3gp::Box::Read(stream, limit);
    end += box.GetSizeWhole();
    WalkGuard guard;
    unsigned int at = Vorn3gp::macro_Tell(stream);
    while (at < end) {
        Vorn3gp::Box& child = make_child_of(box, Vorn3gp::peek_box(stream, limit), table);
        child.Read(stream, limit);
        const unsigned int before = at;
        at = Vorn3gp::macro_Tell(stream);
        if (!guard.goes_on(child, before, at)) break;
    }
    return stream;
}

void require(const void* child, const char* assertion) {
    if (!child) __assert_fail(assertion, kPath, __LINE__, "Dump");
}

}  // namespace qlip
