#include "completion/object_levels.h"

#include <cstddef>

#include "cli/arguments.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr std::size_t MOST_NAMES = 500;

/// The first name after `after`; empty if there is none.
std::string nextName(const Rbac::ReachableObjects& all, const Rbac::ObjectNamespace& under, std::string after)
{
    while (true) {
        Rbac::ReachablePage page = all.page(under, after, 1);
        if (!page.names.empty()) {
            return page.names.front();
        }
        if (page.isLast()) {
            return "";
        }
        after = page.cursor;
    }
}

/// A place that comes after all names below one, and before all others that come after it: no byte of text
/// forms comes after the bar, and none has two of them in a row.
std::string behind(const std::string& name) { return name + '|'; }

std::set<std::string> levelOf(const Rbac::ReachableObjects& all, const std::string& typed)
{
    const Rbac::ObjectNamespace above = parseNamespace("", typed.substr(0, typed.rfind('|') + 1));
    std::set<std::string> names;
    std::string after = typed;
    if (after.size() > 1 && after.back() == '|') {
        after.pop_back(); // the name itself counts
    }
    while (names.size() < MOST_NAMES) {
        const std::string name = nextName(all, above, after);
        if (name.empty() || name.compare(0, typed.size(), typed) != 0) {
            break;
        }
        const std::size_t bar = name == typed ? name.size() - 1 : name.find('|', typed.size());
        const std::string beginning = name.substr(0, bar + 1);
        names.insert(beginning);
        after = name == typed ? name : behind(beginning);
    }
    return names;
}

} // namespace

std::set<std::string> nextLevels(const Rbac::ReachableObjects& all, const std::string& typed)
{
    std::string place = typed.empty() ? "|" : typed;
    std::set<std::string> names = levelOf(all, place);
    while (names.size() == 1 && *names.begin() != place) {
        place = *names.begin();
        names = levelOf(all, place);
    }
    return names;
}

} // namespace ksrbac
