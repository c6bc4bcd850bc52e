#ifndef KSRBAC_APPLICATION_H
#define KSRBAC_APPLICATION_H

#include <string>
#include <vector>

#include "exit_status.h"
#include "io/Console.h"

namespace ksrbac {

/// The whole program except for its descriptors: reads the arguments (the program's name not among them) and
/// the configuration, runs the command and turns every failure into a message and an exit status. Never
/// throws. Changes the process's installation root and log settings.
ExitStatus runApplication(const std::vector<std::string>& arguments, Console& console) noexcept;

} // namespace ksrbac

#endif
