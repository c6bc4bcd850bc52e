#ifndef KSRBAC_REGISTRATION_BULK_FILE_H
#define KSRBAC_REGISTRATION_BULK_FILE_H

#include <string>
#include <vector>

#include "registration/ObjectRequest.h"

namespace ksrbac {

/// The objects that a file, or standard input for "-", asks to register: a JSON array of at least one record,
///
///     {"namespace": "|ASSETS|vm-7|", "type": "VM", "children": ["|disk-0|"], "inherit": true,
///      "grants": [{"role": 17, "operations": ["|OPERATIONS|VIEW|"], "propagation": "OBJECT"}],
///      "ignoreRegistered": false}
///
/// of which namespace and type are needed, and of a grant role and operations. A role is given by its id or,
/// as a text, by its name, for which `names` is asked when all else is well. Throws `InputError` that names
/// the place of the first fault: what is malformed, unknown, missing or given twice; and `ServiceError`.
std::vector<ObjectRequest> readBulkFile(const std::string& path, RoleNames& names);

} // namespace ksrbac

#endif
