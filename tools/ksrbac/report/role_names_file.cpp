#include "report/role_names_file.h"

#include <optional>

#include "cli/arguments.h"
#include "exit_status.h"
#include "io/LineReader.h"
#include "output/escape.h"

namespace ksrbac {

namespace {

using Names = std::map<std::int32_t, std::string>;

/// `where` is the line's place for messages.
void addName(const std::string& line, const std::string& where, Names& names)
{
    const std::size_t tab = line.find('\t');
    if (tab == std::string::npos) {
        throw InputError(where + ": not a role's id, a tab and its name: \"" + escapeForMessage(line) + '"');
    }
    const std::string idText = line.substr(0, tab);
    const std::optional<int> id = parseRoleId(where, idText);
    if (!id) {
        throw InputError(where + ": not the id of a role: \"" + escapeForMessage(idText) + '"');
    }
    if (!names.emplace(*id, line.substr(tab + 1)).second) {
        throw InputError(where + ": role " + idText + " is named twice");
    }
}

} // namespace

std::map<std::int32_t, std::string> readRoleNames(const std::string& path)
{
    Names names;
    LineReader lines(path, [] {});
    const std::string name = escapeForMessage(lines.name());
    std::string line;
    while (lines.next(line)) {
        if (!line.empty()) {
            addName(line, name + ':' + std::to_string(lines.lineNumber()), names);
        }
    }
    return names;
}

} // namespace ksrbac
