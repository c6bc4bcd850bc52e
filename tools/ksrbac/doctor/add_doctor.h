#ifndef KSRBAC_DOCTOR_ADD_DOCTOR_H
#define KSRBAC_DOCTOR_ADD_DOCTOR_H

#include "cli/Command.h"

namespace ksrbac {

/// The `add` of the row "doctor".
Action addDoctor(CLI::App& command);

} // namespace ksrbac

#endif
