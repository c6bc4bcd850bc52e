#ifndef KEEPSAFE_TESTS_SUPPORT_MESSAGES_H
#define KEEPSAFE_TESTS_SUPPORT_MESSAGES_H

#include <string>
#include <vector>

#include "support/CapturedLog.h"

namespace keepsafe_test {

/// The messages of a default logger under a tag, of any level or of one, with the line number of the source
/// location in parentheses replaced by a star. Messages without a source location are left out.
std::vector<std::string> messagesOf(const CapturedLog& log, const std::string& tag, int level = -1);

/// The other lines under a tag that start with an SQL verb: statements as they were run.
std::vector<std::string> statementsOf(const CapturedLog& log, const std::string& tag);

} // namespace keepsafe_test

#endif
