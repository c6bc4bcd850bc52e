#ifndef KSRBAC_CONFIGURATION_H
#define KSRBAC_CONFIGURATION_H

#include <string>

#include "cli/command_line.h"
#include "io/Console.h"

namespace ksrbac {

/// Moves the installation root and directs log messages as the options and the configuration say. Throws
/// `InputError` for a root that is no directory and a malformed configuration.
///
/// A configuration that this user may not read, and a log file that cannot be opened, are noted: what needs
/// neither can still be answered.
void configure(const GlobalOptions& options, Console& console);

/// Moves the installation root alone, whether or not it can be used. Throws `InputError` for an empty path.
void moveRoot(const std::string& root);

/// For what needs the configuration: throws `InputError` that says why it cannot be read and what to do.
/// `otherwise` is another way to an answer, ", or ...", or nothing.
void requireConfiguration(const std::string& otherwise = "");

} // namespace ksrbac

#endif
