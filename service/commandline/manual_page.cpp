#include <algorithm>
#include <cctype>
#include <sstream>

#include "commandline/command_tree.h"
#include "commandline/documents.h"

namespace keepsafe_service {

namespace {

/// For troff: no backslash is an escape, and a minus sign can be copied.
std::string manualEscaped(const std::string& text)
{
    std::string out;
    for (const char c : text) {
        if (c == '\\') {
            out += "\\e";
        } else if (c == '-') {
            out += "\\-";
        } else if (c == '\'') {
            out += "\\(aq";
        } else {
            out += c;
        }
    }
    return out;
}

/// No line is taken for a request.
std::string line(const std::string& text)
{
    const bool isRequest = !text.empty() && text.front() == '.';
    return (isRequest ? "\\&" : "") + manualEscaped(text) + '\n';
}

std::string verbatim(const std::string& text)
{
    std::string out = ".nf\n";
    std::istringstream lines(text);
    for (std::string each; std::getline(lines, each);) {
        out += line(each);
    }
    return out + ".fi\n";
}

std::string optionText(const OptionEntry& option)
{
    std::string names;
    for (const std::string& name : option.names) {
        names += (names.empty() ? "" : ", ") + ("\\fB" + manualEscaped(name) + "\\fR");
    }
    const std::string value = option.value.empty() ? "" : "\\fI" + manualEscaped(option.value) + "\\fR";
    const std::string between = names.empty() || value.empty() ? "" : " ";
    return ".TP\n" + names + between + value + '\n' + line(option.description);
}

std::string usage(const std::string& program, const CommandEntry& command)
{
    std::string text = ".B " + manualEscaped(program + spelled(command.words)) + "\n[\\fIOPTION\\fR]...";
    for (const OptionEntry& option : command.options) {
        if (option.names.empty()) {
            text += " \\fI" + manualEscaped(option.value) + "\\fR";
        } else if (option.isRequired) {
            text += " \\fB" + manualEscaped(option.names.back()) + "\\fR \\fI" + manualEscaped(option.value) +
                    "\\fR";
        }
    }
    return text + (command.commands.empty() ? "" : " \\fICOMMAND\\fR") + '\n';
}

std::string options(const CommandEntry& command)
{
    std::string text;
    for (const OptionEntry& option : command.options) {
        text += optionText(option);
    }
    return text;
}

std::string upperCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

/// The description up to its first colon, in lower case, as lists of pages show it.
std::string summary(const std::string& description)
{
    std::string text = description.substr(0, description.find(':'));
    text.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(text.front())));
    return text;
}

} // namespace

std::string manualPage(const CLI::App& program, const std::string& version)
{
    const std::string& name = program.get_name();
    const std::vector<CommandEntry> tree = commandTree(program);
    const CommandEntry& whole = tree.front();
    std::string page = ".TH " + upperCase(manualEscaped(name)) + " 1 \"\" \"keepsafe-rbac " + version +
                       "\" \"User Commands\"\n.SH NAME\n" + manualEscaped(name) + " \\- " +
                       manualEscaped(summary(whole.description)) + "\n.SH SYNOPSIS\n" + usage(name, whole) +
                       ".SH DESCRIPTION\n" + line(whole.description + ".") + ".SH OPTIONS\n" + options(whole);
    if (tree.size() > 1) {
        page += ".SH COMMANDS\n";
    }
    for (auto command = tree.begin() + 1; command != tree.end(); ++command) {
        page += ".SS \"" + manualEscaped(name + spelled(command->words)) + "\"\n" +
                line(command->description + ".") + ".PP\n" + usage(name, *command) + options(*command) +
                ".PP\n" + verbatim(command->footer);
    }
    return page + ".SH NOTES\n" + verbatim(whole.footer);
}

} // namespace keepsafe_service
