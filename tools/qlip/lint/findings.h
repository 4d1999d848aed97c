// What the rules found, as far as a person wants to read it: the first places of each kind, and how many more
// there are.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "lint/rules.h"

namespace qlip_tool {

struct Place {
    unsigned int track = 0;          // 0: the file as a whole
    std::string part;                // which packets: "native stream", "sent", "hint track", or empty
    std::optional<uint64_t> offset;  // of a box, or of the sample's bytes
    std::optional<uint64_t> sample;  // from 1, as files count them
    std::optional<uint64_t> packet;  // from 1, in the part
};

struct Finding {
    RuleId rule;
    Place place;
    std::string what;
};

class Findings {
  public:
    void add(RuleId id, Place place, std::string what);

    // By severity, errors first, then in the order of the rules.
    struct Kind {
        RuleId rule;
        std::vector<Finding> first;
        uint64_t count;
    };
    std::vector<Kind> sorted() const;

    bool any_at_or_above(Severity severity) const;
    uint64_t count(Severity severity) const;

  private:
    static constexpr size_t kShown = 5;  // of a rule, a track and a part

    using Key = std::pair<RuleId, std::pair<unsigned int, std::string>>;
    std::map<Key, Kind> kinds_;
};

// "track 2, sent, packet 17"; empty for the file as a whole.
std::string text_of(const Place& place);

}  // namespace qlip_tool
