#ifndef KEEPSAFE_SRC_PLATFORM_HTTP_LOG_TAG_H
#define KEEPSAFE_SRC_PLATFORM_HTTP_LOG_TAG_H

namespace Tessara::Keepsafe::Platform::http {

/// All failures happen in a request.
inline constexpr const char* TAG = "KSClientCURL::request";

} // namespace Tessara::Keepsafe::Platform::http

#endif
