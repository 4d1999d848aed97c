#include "commands/manual.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <sstream>
#include <vector>

#include "commands/commands.h"
#include "host/output.h"
#include "host/tool_error.h"

namespace qlip_tool {
namespace {

void print(const std::string& text) {
    Output out;
    out.write(std::string_view{text});
    out.finish();
}

std::vector<const CLI::App*> shown_commands(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* each) { return !each->get_group().empty(); });
}

const CLI::App& command_named(const CLI::App& app, const std::string& name) {
    for (const CLI::App* each : shown_commands(app)) {
        if (each->get_name() == name) return *each;
    }
    throw ToolError(Exit::usage, fmt::format("there is no command '{}'", name), "qlip --help");
}

// The application's own help, also while a command runs.
std::string whole_help(const CLI::App& app) {
    return app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal);
}

std::vector<std::string> names_of(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames())
        names.push_back("-" + name);
    for (const std::string& name : option.get_lnames())
        names.push_back("--" + name);
    return names;
}

bool takes_value(const CLI::Option& option) {
    return option.get_items_expected_max() > 0;
}

// The words that an option takes, as its type name lists them, or none.
std::string choices_of(const CLI::Option& option) {
    std::string text = option.get_type_name();
    if (text.find('|') == std::string::npos) return {};
    for (char& letter : text)
        letter = letter == '|' ? ' ' : letter;
    return text;
}

std::string replaced(std::string text, std::string_view what, std::string_view with) {
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size()))
        text.replace(at, what.size(), with);
    return text;
}

// ---- man(7)

std::string upper(std::string text) {
    for (char& letter : text)
        letter = letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    return text;
}

std::string roff(const std::string& text) {
    std::string safe = replaced(replaced(text, "\\", "\\e"), "-", "\\-");
    if (!safe.empty() && (safe[0] == '.' || safe[0] == '\'')) safe.insert(0, "\\&");
    return safe;
}

// Running text in lines as long as man pages have them.
std::string roff_lines(const std::string& text) {
    constexpr size_t kLongest = 72;
    std::string page;
    std::string line;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        if (!line.empty() && line.size() + word.size() >= kLongest) {
            page += roff(line) + "\n";
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
    }
    return page + roff(line) + "\n";
}

// Paragraphs stay, and what follows "Examples:" or is set in is shown as it stands.
std::string roff_text(const std::string& text) {
    std::string page;
    std::istringstream lines(text);
    bool verbatim = false;
    bool paragraph = false;
    for (std::string line; std::getline(lines, line);) {
        const bool set_in = line.starts_with("  ");
        if (set_in != verbatim) page += set_in ? ".PP\n.nf\n" : ".fi\n";
        verbatim = set_in;
        if (line.empty()) {
            paragraph = true;
            continue;
        }
        if (paragraph && !set_in) page += ".PP\n";
        paragraph = false;
        page += set_in ? roff(line) + "\n" : roff_lines(line);
    }
    return verbatim ? page + ".fi\n" : page;
}

std::string roff_options(const CLI::App& command) {
    std::string page;
    for (const CLI::Option* option : command.get_options()) {
        std::string name = fmt::format("{}", fmt::join(names_of(*option), ", "));
        if (name.empty()) name = option->get_name(true);
        page += fmt::format(".TP\n\\fB{}\\fR", roff(name));
        if (takes_value(*option) && !option->get_positional())
            page += fmt::format(" \\fI{}\\fR", roff(option->get_type_name()));
        page += "\n" + roff_lines(option->get_description());
    }
    return page;
}

std::string man_page(const CLI::App& command, const std::string& name, const std::string& usage,
                     const std::string& summary, const std::string& text) {
    return fmt::format(
        ".TH {} 1 \"{}\" \"qlip {}\"\n.SH NAME\n{} \\- {}\n.SH SYNOPSIS\n{}\n.SH DESCRIPTION\n{}"
        ".SH OPTIONS\n{}.SH SEE ALSO\n{}\n",
        upper(name), QLIP_MANUAL_DATE, QLIP_TOOL_VERSION, roff(name), roff(summary), roff(usage),
        roff_text(text), roff_options(command), name == "qlip" ? "qlip\\-info(1)" : "qlip(1)");
}

std::string man_page_of(const CLI::App& app, const std::string& name) {
    if (name.empty()) {
        std::string text = app.get_description() + "\n\nCommands:\n";
        for (const CLI::App* each : shown_commands(app))
            text += fmt::format("  {:<12}{}\n", each->get_name(), each->get_description());
        return man_page(app, "qlip", "qlip COMMAND [OPTIONS]", "3GP files and their native streams",
                        text + app.get_footer());
    }
    const CLI::App& command = command_named(app, name);
    std::string usage = fmt::format("qlip {} [OPTIONS]", name);
    for (const CLI::Option* option : command.get_options()) {
        if (option->get_positional()) usage += " " + option->get_name(true);
    }
    return man_page(command, "qlip-" + name, usage, command.get_description(), command.get_footer());
}

// ---- completion

std::string bash_completion(const CLI::App& app) {
    std::string commands;
    std::string options;
    std::string values;
    for (const CLI::App* each : shown_commands(app)) {
        commands += " " + each->get_name();
        options += fmt::format("        {}) words='", each->get_name());
        for (const CLI::Option* option : each->get_options()) {
            const std::vector<std::string> names = names_of(*option);
            options += fmt::format("{}{}", names.empty() ? "" : " ", fmt::join(names, " "));
            if (names.empty() || choices_of(*option).empty()) continue;
            values += fmt::format("        '{} {}') words='{}' ;;\n", each->get_name(), names.back(),
                                  choices_of(*option));
        }
        options += "' ;;\n";
    }
    return "_qlip() {\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]} words=\n"
           "    COMPREPLY=()\n"
           "    if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
           "        COMPREPLY=($(compgen -W '" +
           commands + " --help --version' -- \"$current\"))\n        return\n    fi\n" +
           "    case \"$command ${COMP_WORDS[COMP_CWORD-1]}\" in\n" + values + "    esac\n" +
           "    [ \"${current:0:1}\" != - ] || case $command in\n" + options + "    esac\n" +
           "    [ -z \"$words\" ] || COMPREPLY=($(compgen -W \"$words\" -- \"$current\"))\n"
           "}\n"
           "complete -o default -F _qlip qlip\n";
}

std::string zsh_word(const std::string& text) {
    std::string safe = replaced(text, "'", "'\\''");
    for (const std::string_view special : {"[", "]", ":"})
        safe = replaced(safe, special, "\\" + std::string(special));
    return safe;
}

std::string zsh_completion(const CLI::App& app) {
    std::string commands;
    std::string arguments;
    for (const CLI::App* each : shown_commands(app)) {
        commands += fmt::format("    '{}:{}'\n", each->get_name(), zsh_word(each->get_description()));
        arguments += fmt::format("    {}) _arguments", each->get_name());
        for (const CLI::Option* option : each->get_options()) {
            const std::string choices = choices_of(*option);
            const std::string value = choices.empty() ? ":value:_files" : ":value:(" + choices + ")";
            for (const std::string& name : names_of(*option))
                arguments += fmt::format(" '{}[{}]{}'", name, zsh_word(option->get_description()),
                                         takes_value(*option) ? value : "");
        }
        arguments += " '*:file:_files' ;;\n";
    }
    return "#compdef qlip\nlocal -a qlip_commands=(\n" + commands +
           ")\nif (( CURRENT == 2 )); then\n    _describe command qlip_commands\n    return\nfi\n"
           "local command=$words[2]\nshift words\n(( CURRENT-- ))\ncase $command in\n" +
           arguments + "esac\n";
}

}  // namespace

void add_manual(CLI::App& app) {
    const auto name = std::make_shared<std::string>();
    CLI::App* help = app.add_subcommand("help", "Show the help of a command");
    help->add_option("COMMAND", *name, "The command; all of them without it");
    help->callback([&app, name] {
        print(name->empty() ? whole_help(app) : command_named(app, *name).help(app.get_name()));
    });
    CLI::App* page = app.add_subcommand("man-page", "Print the man page of a command")->group("");
    page->add_option("COMMAND", *name, "The command; the tool itself without it");
    page->callback([&app, name] { print(man_page_of(app, *name)); });
    CLI::App* completion = app.add_subcommand("completion", "Print the completion for a shell")->group("");
    completion->add_option("SHELL", *name, "bash or zsh")->required()->check(one_of({"bash", "zsh"}));
    completion->callback(
        [&app, name] { print(*name == "bash" ? bash_completion(app) : zsh_completion(app)); });
}

}  // namespace qlip_tool
