#include <keepsafe/platform/log/logmsg.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <new>
#include <string_view>

#include "dispatch.h"

namespace {

namespace Platform = Tessara::Keepsafe::Platform;
using Platform::detail::dispatch;
using Platform::detail::isWanted;

/// Long enough for nearly every message; longer ones are formatted on the heap.
constexpr std::size_t STACK_SIZE = 1024;

std::string_view orEmpty(const char* text) noexcept { return text == nullptr ? "" : text; }

int levelOfVerbosity(int verbosity) noexcept
{
    return verbosity <= 2 ? Platform::LOG_LEVEL_INFORMATION : Platform::LOG_LEVEL_DEBUG;
}

void dispatchLong(int level, std::string_view tag, const char* format, std::va_list arguments,
                  std::size_t length, std::string_view beginning) noexcept
{
    const std::size_t shown = std::min(length, Platform::detail::LONGEST_TEXT);
    const std::unique_ptr<char[]> text(new (std::nothrow) char[shown + 1]);
    if (text == nullptr || std::vsnprintf(text.get(), shown + 1, format, arguments) < 0) {
        dispatch(level, tag, beginning, length - beginning.size());
        return;
    }
    dispatch(level, tag, {text.get(), shown}, length - shown);
}

void formatAndDispatch(int level, const char* tag, const char* format, std::va_list arguments) noexcept
{
    std::array<char, STACK_SIZE> text;
    std::va_list again;
    va_copy(again, arguments);
    const int formatted = std::vsnprintf(text.data(), text.size(), orEmpty(format).data(), arguments);
    const auto length = static_cast<std::size_t>(formatted);
    if (formatted < 0) {
        dispatch(level, orEmpty(tag), orEmpty(format));
    } else if (length < text.size()) {
        dispatch(level, orEmpty(tag), {text.data(), length});
    } else {
        dispatchLong(level, orEmpty(tag), format, again, length, {text.data(), text.size() - 1});
    }
    va_end(again);
}

} // namespace

void logmsgf(int level, const char* tag, const char* format, ...) noexcept
{
    if (!isWanted(level)) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    formatAndDispatch(level, tag, format, arguments);
    va_end(arguments);
}

void logmsgvf(int verbosity, int /*category*/, const char* tag, const char* format, ...) noexcept
{
    const int level = levelOfVerbosity(verbosity);
    if (!isWanted(level)) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    formatAndDispatch(level, tag, format, arguments);
    va_end(arguments);
}

void logmsgv(int verbosity, int /*category*/, const char* tag, const char* text) noexcept
{
    const int level = levelOfVerbosity(verbosity);
    if (isWanted(level)) {
        dispatch(level, orEmpty(tag), orEmpty(text));
    }
}
