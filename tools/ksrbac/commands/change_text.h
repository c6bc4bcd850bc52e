#ifndef KSRBAC_COMMANDS_CHANGE_TEXT_H
#define KSRBAC_COMMANDS_CHANGE_TEXT_H

#include <string>

#include <keepsafe/rbac/api/Changes.h>

namespace ksrbac {

/// What a change has done, in words for a terminal: "role 51 created: Tape operator".
std::string changeText(const Tessara::Keepsafe::Rbac::Change& change);

} // namespace ksrbac

#endif
