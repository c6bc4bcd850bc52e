#ifndef KEEPSAFE_SERVICE_CACHEWRITER_UTC_TIME_H
#define KEEPSAFE_SERVICE_CACHEWRITER_UTC_TIME_H

#include <chrono>
#include <ctime>
#include <string>

namespace keepsafe_service {

/// A moment as people and programs read it in messages: "2026-01-31T23:59:59Z".
inline std::string utcTime(std::chrono::system_clock::time_point moment)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(moment);
    std::tm parts = {};
    ::gmtime_r(&seconds, &parts);
    char text[sizeof "2026-01-31T23:59:59Z" + 16];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

} // namespace keepsafe_service

#endif
