#ifndef KEEPSAFE_SERVICE_JOURNAL_AUTHOR_H
#define KEEPSAFE_SERVICE_JOURNAL_AUTHOR_H

#include <string>

namespace keepsafe_service {

/// Who makes a change: the subject of a client's certificate in the text form of RFC 4514, or "local" with
/// the name of a user of this host. UTF-8 without zero bytes.
struct Author {
    std::string name;
};

/// The user who has started this process.
[[nodiscard]] Author localAuthor();

} // namespace keepsafe_service

#endif
