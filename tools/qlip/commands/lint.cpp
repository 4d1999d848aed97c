// qlip lint: what a file will do to a server and to a receiver.
#include <algorithm>
#include <memory>

#include "boxes/box_walk.h"
#include "commands/commands.h"
#include "host/json_text.h"
#include "host/output.h"
#include "host/progress.h"
#include "host/tool_error.h"
#include "lint/report.h"
#include "movie/movie.h"

namespace qlip_tool {
namespace {

constexpr const char* kAbout =
    "Looks at structure, hint tracks, payloads and cost of 3GP files, rule by rule. Each finding has a "
    "severity, a place,\n"
    "the published rule behind it and what helps. Ends with 1 when there is a finding at or above "
    "--fail-on.\n"
    "\n"
    "Examples:\n"
    "  qlip lint *.3gp\n"
    "  qlip lint clip.3gp --json | jq -r '.[].findings[].rule'\n"
    "  qlip lint clip.3gp --html report.html     with plots, in one file\n"
    "  qlip lint clip.3gp --diff                 the hint track's packets beside the library's own";

struct Options {
    std::vector<std::string> files;
    bool json = false, diff = false, rules = false;
    std::string html;
    std::string fail_on = "warning";
};

// Hint tracks, each against the track that it names.
void check_hints(FileHost& host, const Movie& movie, LintReport& report) {
    for (const TableTrack& hint : report.tables) {
        if (!hint.is_hint()) continue;
        const auto media = std::find_if(
            report.tables.begin(), report.tables.end(),
            [&](const TableTrack& track) { return track.id == hint.hints_for && !track.is_hint(); });
        if (media == report.tables.end()) {
            report.findings.add(RuleId::HintDamaged, {hint.id, {}, hint.offset, {}, {}},
                                "it names no media track of the file");
            continue;
        }
        const auto sent = std::find_if(report.sent.begin(), report.sent.end(),
                                       [&](const SentTrack& track) { return track.id == media->id; });
        report.coverage.push_back(check_hint_track(
            host, movie, hint, *media, sent == report.sent.end() ? std::string() : sent->format_parameters,
            report.findings));
    }
}

LintReport look_at(const std::string& file, bool diff) {
    FileHost host(file);
    LintReport report;
    report.file = file;
    report.size = host.size();
    const Movie movie(host);
    report.tables = read_tables(host, walk_boxes(host), report.findings);
    check_structure(host, movie, report.tables, report.findings);
    report.sent = check_delivery(host, report.findings);
    check_hints(host, movie, report);
    if (diff) report.diffs = compare_packets(host, report.tables);
    return report;
}

Severity severity_of(const std::string& name) {
    for (const Severity severity : {Severity::Note, Severity::Warning}) {
        if (severity_name(severity) == name) return severity;
    }
    return Severity::Error;
}

void show(const Options& options, const std::vector<LintReport>& reports) {
    Output out;
    if (options.json) {
        nlohmann::ordered_json documents = nlohmann::ordered_json::array();
        for (const LintReport& report : reports)
            documents.push_back(json_report(report));
        out.print("{}\n", json_text(documents, 2));
    } else {
        for (const LintReport& report : reports)
            show_report(out, report);
    }
    out.finish();
}

void write_page(const Options& options, const std::vector<LintReport>& reports) {
    Output page(options.html, options.files);
    page.write(html_report(reports));
    page.finish();
}

void show_rules() {
    Output out;
    out.write(rules_document());
    out.finish();
}

void run(const Options& options) {
    if (options.rules) return show_rules();
    if (options.files.empty()) throw ToolError(Exit::usage, "lint: FILE is required", "qlip lint --help");
    std::vector<LintReport> reports;
    Progress progress("lint", options.files.size(), "files");
    for (const std::string& file : options.files) {
        reports.push_back(look_at(file, options.diff));
        progress.advance_to(reports.size());
    }
    if (!options.html.empty()) write_page(options, reports);
    if (!is_standard_output(options.html) || options.html.empty()) show(options, reports);
    const Severity least = severity_of(options.fail_on);
    const auto failed = std::count_if(reports.begin(), reports.end(), [&](const LintReport& report) {
        return report.findings.any_at_or_above(least);
    });
    if (failed == 0) return;
    throw ToolError(Exit::bad_input, fmt::format("{} of {} files have findings at or above '{}'", failed,
                                                 reports.size(), options.fail_on));
}

}  // namespace

void add_lint(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("lint", "Show what a file will do to a server and to a receiver");
    command->footer(kAbout);
    command->add_option("FILE", options->files, "The 3GP files");
    command->add_flag("--json", options->json, "One JSON document instead of lines");
    command->add_option("--html", options->html, "Also write a page with plots, which needs nothing else")
        ->type_name("REPORT");
    command->add_flag("--diff", options->diff,
                      "Show packet by packet where the hint track and the library's own cuts differ");
    command->add_option("--fail-on", options->fail_on, "End with 1 for findings of this severity or above")
        ->check(one_of({"note", "warning", "error"}))
        ->type_name("note|warning|error")
        ->capture_default_str();
    command->add_flag("--rules", options->rules, "Show all rules instead, as they stand in docs/lint.md");
    command->callback([options] { run(*options); });
}

}  // namespace qlip_tool
