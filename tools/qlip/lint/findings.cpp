#include "lint/findings.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/text.h"

namespace qlip_tool {

void Findings::add(RuleId id, Place place, std::string what) {
    Kind& kind = kinds_.try_emplace({id, {place.track, place.part}}, Kind{id, {}, 0}).first->second;
    ++kind.count;
    if (kind.first.size() < kShown) kind.first.push_back({id, std::move(place), std::move(what)});
}

std::vector<Findings::Kind> Findings::sorted() const {
    std::vector<Kind> kinds;
    for (const auto& [key, kind] : kinds_)
        kinds.push_back(kind);
    std::stable_sort(kinds.begin(), kinds.end(), [](const Kind& one, const Kind& other) {
        return rule(one.rule).severity > rule(other.rule).severity;
    });
    return kinds;
}

bool Findings::any_at_or_above(Severity severity) const {
    return std::any_of(kinds_.begin(), kinds_.end(),
                       [=](const auto& entry) { return rule(entry.first.first).severity >= severity; });
}

uint64_t Findings::count(Severity severity) const {
    uint64_t count = 0;
    for (const auto& [key, kind] : kinds_) {
        if (rule(key.first).severity == severity) count += kind.count;
    }
    return count;
}

std::string text_of(const Place& place) {
    std::string text;
    const auto put = [&](const std::string& word) { text += (text.empty() ? "" : ", ") + word; };
    if (place.track != 0) put(fmt::format("track {}", place.track));
    if (!place.part.empty()) put(place.part);
    if (place.sample) put("sample " + count_text(*place.sample));
    if (place.packet) put("packet " + count_text(*place.packet));
    if (place.offset) put("byte " + count_text(*place.offset));
    return text;
}

}  // namespace qlip_tool
