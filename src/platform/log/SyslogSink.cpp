#include "SyslogSink.h"

#include <exception>
#include <set>

#include <syslog.h>

#include <keepsafe/platform/log/logmsg.h>

#include "ForkMutex.h"
#include "NoDestructor.h"
#include "line.h"

namespace Tessara::Keepsafe::Platform::detail {
namespace {

int severity(int level)
{
    if (level >= LOG_LEVEL_ERROR) {
        return LOG_ERR;
    }
    if (level >= LOG_LEVEL_NOTABLE) {
        return LOG_NOTICE;
    }
    return level >= LOG_LEVEL_INFORMATION ? LOG_INFO : LOG_DEBUG;
}

} // namespace

SyslogSink::SyslogSink(const std::string& program)
{
    const std::lock_guard<std::mutex> guard(syslogMutex);
    // openlog keeps the pointer, so the names live until the process ends.
    static Process::NoDestructor<std::set<std::string>> names;
    ::openlog(names->insert(program).first->c_str(), LOG_PID, LOG_DAEMON);
}

void SyslogSink::write(const LogRecord& record) noexcept
{
    try {
        spdlog::memory_buf_t line;
        appendEscaped(record.tag, line);
        line.append(std::string_view(": "));
        appendEscaped(record.text, line);
        line.push_back('\0');
        const std::lock_guard<std::mutex> guard(syslogMutex);
        ::syslog(LOG_DAEMON | severity(record.level), "%s", line.data());
    } catch (const std::exception&) {
        // Out of memory: the message is lost, and there is nowhere to report it.
        return;
    }
}

} // namespace Tessara::Keepsafe::Platform::detail
