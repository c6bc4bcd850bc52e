#ifndef KSRBAC_REPORT_PAGE_PARTS_H
#define KSRBAC_REPORT_PAGE_PARTS_H

#include <string>

/// \file
/// The files of report/page, which the build puts into the program (cmake/EmbedTexts.cmake).

namespace ksrbac::page_parts {

/// page.html. "{{NAME}}" marks what is put into it.
[[nodiscard]] std::string html();
[[nodiscard]] std::string style();
/// All scripts, one after the other.
[[nodiscard]] std::string script();

} // namespace ksrbac::page_parts

#endif
