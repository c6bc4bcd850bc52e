#ifndef KEEPSAFE_SRC_PLATFORM_CONFIG_CONFIG_FILE_H
#define KEEPSAFE_SRC_PLATFORM_CONFIG_CONFIG_FILE_H

#include <string>

#include <keepsafe/platform/config/config.h>

namespace Tessara::Keepsafe::Platform::detail {

/// `loadConfig` with the path given.
Config loadConfigFrom(const std::string& path);

} // namespace Tessara::Keepsafe::Platform::detail

#endif
