#ifndef KEEPSAFE_SANDBOX_ROOT_INITIALIZE_H
#define KEEPSAFE_SANDBOX_ROOT_INITIALIZE_H

#include <optional>
#include <string>
#include <vector>

#include <keepsafe/platform/dal/Dal.h>

#include "root/RootLayout.h"

namespace keepsafe_sandbox {

/// Creates a working installation root: folders, key pair, certificates, configuration, and the tables of the
/// database. Existing files are kept, so that it can be run again, also after an interruption. Without
/// `database` the root's configuration decides, or, without one, the database is a SQLite file in the root.
/// `service`, the address or host name of the master server, is determined the same way; the default is
/// 127.0.0.1.
///
/// Returns a line for each item: what was created, and what was kept. Throws `InputError` when something that
/// exists cannot be part of a working root, `DatabaseError` and `FileError`; nothing that existed before is
/// removed or changed.
std::vector<std::string>
initializeRoot(const RootLayout& layout,
               const std::optional<Tessara::Dal::DbConnectionSettings>& database = std::nullopt,
               const std::optional<std::string>& service = std::nullopt);

} // namespace keepsafe_sandbox

#endif
