#ifndef KEEPSAFE_PLATFORM_CONFIG_INSTALLATION_H
#define KEEPSAFE_PLATFORM_CONFIG_INSTALLATION_H

#include <string>

#include <keepsafe/platform/export/export.h>

namespace Tessara::Keepsafe::Platform {

/// The product's installation root, "/usr/kshome" unless the process has moved it, without a slash at its
/// end. All fixed paths of the product are below it. No environment variable and no file changes it. Any
/// thread.
KEEPSAFE_API std::string installationRoot();

/// Moves the installation root for this process: for tools, tests and the sandbox, in their own code and
/// before first use of anything that reads a path. Slashes at the end are dropped, so that "/" becomes the
/// empty string. Any thread. An empty path or one that does not begin with a slash throws
/// `std::invalid_argument`.
KEEPSAFE_API void setInstallationRoot(const std::string& path);

} // namespace Tessara::Keepsafe::Platform

#endif
