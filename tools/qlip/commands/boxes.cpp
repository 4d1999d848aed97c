// qlip boxes: the boxes of a file with their fields.
#include <algorithm>
#include <limits>
#include <memory>

#include "boxes/box_fields.h"
#include "boxes/box_walk.h"
#include "commands/commands.h"
#include "host/checks.h"
#include "host/json_text.h"
#include "host/output.h"
#include "host/text.h"
#include "host/tool_error.h"

namespace qlip_tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kAbout =
    "Shows the boxes of a 3GP file as a tree: type, offset, size, and the fields of every box that the "
    "library's box\n"
    "model reads. A box that does not fit where it stands is marked with '!!', so that one look tells why a "
    "file does\n"
    "not open; the exit code is then 1.\n"
    "\n"
    "Examples:\n"
    "  qlip boxes clip.3gp\n"
    "  qlip boxes clip.3gp --depth 2                 two levels\n"
    "  qlip boxes clip.3gp --json | jq '.boxes[].type'";

struct Options {
    std::string file;
    bool json = false;
    int depth = std::numeric_limits<int>::max();
};

// What is wrong in the tree, however deep it is shown.
const BoxNode* first_fault(const std::vector<BoxNode>& nodes) {
    for (const BoxNode& node : nodes) {
        if (!node.fault.empty()) return &node;
        if (const BoxNode* fault = first_fault(node.children)) return fault;
    }
    return nullptr;
}

bool holds(const std::vector<BoxNode>& nodes, std::string_view type) {
    return std::any_of(nodes.begin(), nodes.end(),
                       [&](const BoxNode& node) { return node.type == type || holds(node.children, type); });
}

class Tree {
  public:
    Tree(const BoxContents& contents, int depth) : contents_(contents), depth_(depth) {}

    Json json(const std::vector<BoxNode>& nodes, int level = 1) const {
        Json list = Json::array();
        for (const BoxNode& node : nodes)
            list.push_back(json(node, level));
        return list;
    }

    void text(Output& out, const std::vector<BoxNode>& nodes, int level = 1) const {
        for (const BoxNode& node : nodes)
            text(out, node, level);
    }

  private:
    const BoxFields* fields_of(const BoxNode& node) const {
        const auto found = contents_.by_offset.find(node.offset);
        return found == contents_.by_offset.end() ? nullptr : &found->second;
    }

    Json json(const BoxNode& node, int level) const {
        const BoxFields* fields = fields_of(node);
        Json object = {{"type", printable(node.type)}, {"offset", node.offset}, {"size", node.size}};
        object["known"] = static_cast<bool>(fields);
        if (!node.fault.empty()) object["fault"] = node.fault;
        object["fields"] = Json::object();
        if (fields) {
            for (const BoxField& field : *fields)
                object["fields"][field.name] = field.value;
        }
        object["boxes"] = level < depth_ ? json(node.children, level + 1) : Json::array();
        return object;
    }

    void text(Output& out, const BoxNode& node, int level) const {
        const BoxFields* fields = fields_of(node);
        const std::string indent(static_cast<size_t>(2 * (level - 1)), ' ');
        if (node.type.empty()) {
            out.print("{}!! {} at {}\n", indent, node.fault, node.offset);
            return;
        }
        out.print("{}{}  @{}  {} bytes{}\n", indent, printable(node.type), node.offset, node.size,
                  !fields ? "  (unknown)" : "");
        if (!node.fault.empty()) out.print("{}  !! {}\n", indent, node.fault);
        if (fields) show_fields(out, indent, *fields);
        if (level < depth_) text(out, node.children, level + 1);
    }

    static void show_fields(Output& out, const std::string& indent, const BoxFields& fields) {
        for (const BoxField& field : fields) {
            if (field.programs_only) continue;
            out.print("{}    {}: {}\n", indent, field.name,
                      field.text.empty() ? json_text(field.value) : field.text);
        }
    }

    const BoxContents& contents_;
    int depth_;
};

void run(const Options& options) {
    FileHost host(options.file);
    const std::vector<BoxNode> boxes = walk_boxes(host);
    const BoxContents contents = read_box_fields(host, boxes, holds(boxes, "mp4v"));
    const Tree tree(contents, options.depth);
    Output out;
    if (options.json) {
        Json document = {{"file", options.file}, {"bytes", host.size()}, {"boxes", tree.json(boxes)}};
        if (!contents.failure.empty()) document["failure"] = contents.failure;
        out.print("{}\n", json_text(document, 2));
    } else {
        tree.text(out, boxes);
    }
    out.finish();
    const BoxNode* fault = first_fault(boxes);
    if (fault) {
        throw ToolError(Exit::bad_input, fmt::format("{}: '{}' at {} {}", options.file,
                                                     printable(fault->type), fault->offset, fault->fault));
    }
    if (!contents.failure.empty()) throw ToolError(Exit::bad_input, options.file + ": " + contents.failure);
}

}  // namespace

void add_boxes(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("boxes", "Show the boxes of a file with their fields");
    command->footer(kAbout);
    command->add_option("FILE", options->file, "The 3GP file")->required();
    command->add_flag("--json", options->json, "One JSON document instead of a tree");
    command->add_option("--depth", options->depth, "Show so many levels")
        ->check(above_zero())
        ->type_name("N");
    command->callback([options] { run(*options); });
}

}  // namespace qlip_tool
