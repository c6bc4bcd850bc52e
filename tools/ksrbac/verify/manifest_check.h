#ifndef KSRBAC_VERIFY_MANIFEST_CHECK_H
#define KSRBAC_VERIFY_MANIFEST_CHECK_H

#include <optional>
#include <string>

#include "verify/Fault.h"

namespace ksrbac {

/// Text form of the namespace in the directory's manifest, or nothing and a fault at the byte where the
/// document goes wrong (0 when it is well-formed but does not say what it must).
std::optional<std::string> checkManifest(const std::string& directory, FaultList& faults);

} // namespace ksrbac

#endif
