#ifndef KSRBAC_GENERATOR_BASH_COMPLETION_H
#define KSRBAC_GENERATOR_BASH_COMPLETION_H

#include <string>

namespace ksrbac {

/// The completion script for bash: commands, options, and values that are paths or cache ids.
std::string bashCompletion();

} // namespace ksrbac

#endif
