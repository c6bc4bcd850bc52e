#ifndef KEEPSAFE_SRC_PLATFORM_DAL_DRIVER_KEYWORDS_H
#define KEEPSAFE_SRC_PLATFORM_DAL_DRIVER_KEYWORDS_H

#include <string>

#include <keepsafe/platform/dal/Dal.h>

namespace Tessara::Dal {

/// The connection string with keywords in front that single drivers need, and others ignore. The first
/// occurrence of a keyword counts.
std::string withDriverKeywords(const DbConnectionSettings& settings);

} // namespace Tessara::Dal

#endif
