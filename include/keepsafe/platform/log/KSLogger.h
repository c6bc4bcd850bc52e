#ifndef KEEPSAFE_PLATFORM_LOG_KSLOGGER_H
#define KEEPSAFE_PLATFORM_LOG_KSLOGGER_H

#include <atomic>
#include <string>

#include <keepsafe/platform/export/export.h>

/// The logger object of the token and database code. Its levels count detail: 1 is the most important, larger
/// numbers say more. A message is written when the logger's level is at least the message's, through the sink
/// of log_sink.h: as a record of level 4 when its level here is 1 or less, else of level 2. Only the logger's
/// own level decides, not the threshold of log_sink.h, which is for the other functions. A process that needs
/// these messages creates a logger and puts it into `s_default`, which is null at the start; callers test
/// both before they build a text:
///
///     if (KSLogger* logger = KSLogger::s_default; logger != nullptr && logger->level() >= 1) ...
class KEEPSAFE_API KSLogger {
public:
    explicit KSLogger(int level) noexcept : level_(level) {}

    [[nodiscard]] int level() const noexcept { return level_.load(std::memory_order_relaxed); }
    void setLevel(int level) noexcept { level_.store(level, std::memory_order_relaxed); }

    /// Writes `text` when `level` is at most the logger's level. Any thread; never throws; leaves `errno` as
    /// it was. A null tag counts as an empty one.
    void logDebug(const char* tag, int level, const std::string& text) noexcept;

    /// The process's default logger, or null. Not owned: the code that sets it keeps it alive.
    static std::atomic<KSLogger*> s_default;

private:
    std::atomic<int> level_;
};

#endif
