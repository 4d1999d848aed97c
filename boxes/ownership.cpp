#include "boxes/ownership.h"

#include <atomic>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace {

using Vorn3gp::Box;

// Replaced children by their owners, and the way back. Trees of different threads meet here.
struct Kept {
    std::mutex mutex;
    std::unordered_map<const Box*, std::vector<Box*>> children;
    std::unordered_map<const Box*, const Box*> owners;
};

// Never destroyed: boxes may outlive whatever the process destroys at its end.
Kept& kept() {
    static auto& all = *new Kept;
    return all;
}

std::atomic<size_t> how_many{0};

// For the lock's holder.
void forget_locked(Kept& all, const Box* child) {
    const auto found = all.owners.find(child);
    if (found == all.owners.end()) return;
    const auto siblings = all.children.find(found->second);
    std::erase(siblings->second, child);
    if (siblings->second.empty()) all.children.erase(siblings);
    all.owners.erase(found);
    --how_many;
}

std::vector<Box*> taken_from(const Box* owner) {
    Kept& all = kept();
    const std::lock_guard lock(all.mutex);
    forget_locked(all, owner);
    auto node = all.children.extract(owner);
    if (node.empty()) return {};
    for (const Box* child : node.mapped())
        all.owners.erase(child);
    how_many -= node.mapped().size();
    return std::move(node.mapped());
}

}  // namespace

namespace qlip {

void delete_box(const Box* box) {
    delete box;
}

void keep_replaced(const Box& owner, Box* child) {
    Kept& all = kept();
    const std::lock_guard lock(all.mutex);
    all.owners.emplace(child, &owner);
    try {
        all.children[&owner].push_back(child);
    } catch (...) {
        all.owners.erase(child);
        throw;
    }
    ++how_many;
}

void forget_replaced(const Box* child) {
    if (how_many == 0) return;
    Kept& all = kept();
    const std::lock_guard lock(all.mutex);
    forget_locked(all, child);
}

void delete_replaced_of(const Box* owner) {
    if (how_many == 0) return;
    for (Box* child : taken_from(owner))
        delete_box(child);
}

}  // namespace qlip
