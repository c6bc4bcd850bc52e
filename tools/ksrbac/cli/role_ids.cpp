#include "cli/role_ids.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>

#include "exit_status.h"
#include "output/escape.h"

namespace ksrbac {

namespace {

int parseRoleId(std::string_view item, std::size_t position)
{
    std::int32_t id = 0;
    const char* end = item.data() + item.size();
    const auto [stop, error] = std::from_chars(item.data(), end, id);
    const std::string where =
        "--roles: item " + std::to_string(position) + ", \"" + escapeForMessage(item) + "\", ";
    if (error == std::errc::result_out_of_range && stop == end) {
        throw InputError(where + "does not fit 32 bits");
    }
    if (error != std::errc() || stop != end) {
        throw InputError(where + "is not a role id");
    }
    return id;
}

} // namespace

std::set<int> parseRoleIds(std::string_view text)
{
    std::set<int> ids;
    if (text.empty()) {
        return ids;
    }
    std::size_t position = 1;
    for (std::size_t begin = 0; begin <= text.size(); ++position) {
        const std::size_t comma = std::min(text.find(',', begin), text.size());
        ids.insert(parseRoleId(text.substr(begin, comma - begin), position));
        begin = comma + 1;
    }
    return ids;
}

} // namespace ksrbac
