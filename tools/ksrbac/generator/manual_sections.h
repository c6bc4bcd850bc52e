#ifndef KSRBAC_GENERATOR_MANUAL_SECTIONS_H
#define KSRBAC_GENERATOR_MANUAL_SECTIONS_H

#include <string>

namespace ksrbac {

/// An include file for help2man with the help of every command.
std::string manualSections();

} // namespace ksrbac

#endif
