#ifndef KSRBAC_CLI_ROLE_IDS_H
#define KSRBAC_CLI_ROLE_IDS_H

#include <set>
#include <string_view>

namespace ksrbac {

/// Role ids from a list such as `17,3` or `-5,3`. An empty text is no role at all. Throws `InputError` that
/// names the item which is no decimal number or does not fit 32 bits.
std::set<int> parseRoleIds(std::string_view text);

} // namespace ksrbac

#endif
