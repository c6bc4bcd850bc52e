#ifndef KEEPSAFE_SERVICE_FILES_FILEERROR_H
#define KEEPSAFE_SERVICE_FILES_FILEERROR_H

#include <stdexcept>

namespace keepsafe_service {

/// The system refused a step on a file or a folder. `what()` says which step, names the path, and gives the
/// system's reason.
class FileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace keepsafe_service

#endif
