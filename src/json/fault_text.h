#ifndef KEEPSAFE_SRC_JSON_FAULT_TEXT_H
#define KEEPSAFE_SRC_JSON_FAULT_TEXT_H

#include <string>

#include <jansson.h>

namespace Tessara::Keepsafe {

/// Where a text is not JSON, and why: `line 3, column 14: '}' expected near ','`.
inline std::string faultText(const json_error_t& error)
{
    return "line " + std::to_string(error.line) + ", column " + std::to_string(error.column) + ": " +
           error.text;
}

} // namespace Tessara::Keepsafe

#endif
