#ifndef KEEPSAFE_SANDBOX_ROOT_INITIALIZE_H
#define KEEPSAFE_SANDBOX_ROOT_INITIALIZE_H

#include <optional>
#include <string>
#include <vector>

#include <keepsafe/platform/dal/Dal.h>

#include "root/RootLayout.h"

namespace keepsafe_sandbox {

/// Makes a working installation root: folders, key pair, certificates, configuration, and the tables of the
/// database. What is there is kept, so that it can be run again, also after it was interrupted. Without
/// `database` the root's configuration decides, or, when there is none, a SQLite file of the root's own is
/// the database. `service`, the address or host name of the master server, is decided alike; it is 127.0.0.1
/// when nobody says anything.
///
/// Returns a line for each thing: what was made, and what was kept. Throws `InputError` when something that
/// is there cannot be a part of a working root, `DatabaseError` and `FileError`; nothing is removed or
/// changed that was there before.
std::vector<std::string>
initializeRoot(const RootLayout& layout,
               const std::optional<Tessara::Dal::DbConnectionSettings>& database = std::nullopt,
               const std::optional<std::string>& service = std::nullopt);

} // namespace keepsafe_sandbox

#endif
