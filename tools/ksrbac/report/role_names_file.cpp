#include "report/role_names_file.h"

#include <set>

#include "cli/arguments.h"
#include "exit_status.h"
#include "io/LineReader.h"
#include "output/escape.h"

namespace ksrbac {

std::map<std::int32_t, std::string> readRoleNames(const std::string& path)
{
    std::map<std::int32_t, std::string> names;
    LineReader lines(path, [] {});
    std::string line;
    while (lines.next(line)) {
        if (line.empty()) {
            continue;
        }
        const std::string where = escapeForMessage(lines.name()) + ':' + std::to_string(lines.lineNumber());
        const std::size_t tab = line.find('\t');
        if (tab == std::string::npos) {
            throw InputError(where + ": not a role's id, a tab and its name: \"" + escapeForMessage(line) +
                             '"');
        }
        const std::set<int> ids = parseRoleIds(where, line.substr(0, tab));
        if (ids.size() != 1) {
            throw InputError(where + ": give one role id before the tab");
        }
        if (!names.emplace(*ids.begin(), line.substr(tab + 1)).second) {
            throw InputError(where + ": role " + std::to_string(*ids.begin()) + " is named twice");
        }
    }
    return names;
}

} // namespace ksrbac
