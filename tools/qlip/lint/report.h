// What `qlip lint` says of a file: for people, for programs, and as a page.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/output.h"
#include "lint/checks.h"
#include "lint/delivery.h"
#include "lint/findings.h"
#include "lint/packet_diff.h"
#include "lint/tables.h"

namespace qlip_tool {

struct LintReport {
    std::string file;
    uint64_t size = 0;
    Findings findings;
    std::vector<TableTrack> tables;
    std::vector<SentTrack> sent;
    std::vector<HintCoverage> coverage;
    std::vector<PacketDiff> diffs;
};

void show_report(Output& out, const LintReport& report);
nlohmann::ordered_json json_report(const LintReport& report);

// One page that needs nothing from elsewhere. Throws ToolError when the tool was built without plots.
std::string html_report(const std::vector<LintReport>& reports);

// docs/lint.md
std::string rules_document();

}  // namespace qlip_tool
