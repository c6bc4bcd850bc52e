#ifndef KSRBAC_CLI_PLUG_IN_H
#define KSRBAC_CLI_PLUG_IN_H

#include <string>

namespace ksrbac {

/// Whether the command is made for monitoring systems, as a plug-in of theirs. Its exit statuses are those of
/// plug-ins, where 3 means that there is no result, and it finds out itself whether the installation root and
/// the configuration can be used: neither is refused before, and the log stays where it is.
inline bool isPlugIn(const std::string& command) { return command == "doctor"; }

} // namespace ksrbac

#endif
