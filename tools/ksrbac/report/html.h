#ifndef KSRBAC_REPORT_HTML_H
#define KSRBAC_REPORT_HTML_H

#include <string>
#include <string_view>

/// \file
/// Texts from elsewhere in a page. What these functions return is never markup.

namespace ksrbac {

/// The text as the content of an element or as an attribute's value. Bytes that are not UTF-8, and control
/// and format characters, become \xHH.
[[nodiscard]] std::string htmlText(std::string_view text);

/// JSON that means the same and can be the content of a script element: it has neither '<' nor '>' nor '&'.
[[nodiscard]] std::string scriptSafe(std::string_view json);

/// The source expression by which a content security policy permits an inline script or style: its hash.
[[nodiscard]] std::string hashSource(std::string_view content);

} // namespace ksrbac

#endif
