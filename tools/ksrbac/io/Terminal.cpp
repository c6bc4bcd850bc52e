#include "io/Terminal.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include <sys/ioctl.h>
#include <unistd.h>

namespace ksrbac {

namespace {

std::string_view environment(const char* name)
{
    const char* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): nothing changes the environment
    return value == nullptr ? "" : value;
}

std::size_t widthOf(int descriptor)
{
    // Narrower lines are no longer sentences, wider ones no longer easy to read.
    constexpr std::size_t least = 40;
    constexpr std::size_t most = 120;
    winsize size = {};
    if (ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return Terminal::USUAL_WIDTH;
    }
    return std::clamp<std::size_t>(size.ws_col, least, most);
}

} // namespace

Terminal Terminal::ofProcess()
{
    const std::string_view kind = environment("TERM");
    const bool isCapable = !kind.empty() && kind != "dumb";
    Terminal terminal;
    terminal.showsResults = isatty(STDOUT_FILENO) == 1;
    terminal.showsMessages = isatty(STDERR_FILENO) == 1;
    terminal.canMove = terminal.showsMessages && isCapable;
    terminal.areColoursWelcome = isCapable && environment("NO_COLOR").empty();
    if (terminal.showsResults) {
        terminal.width = widthOf(STDOUT_FILENO);
    }
    return terminal;
}

std::string coloured(const std::string& text, Colour colour)
{
    const char* const code = colour == Colour::Good ? "32" : colour == Colour::Bad ? "31" : "33";
    return std::string("\x1B[") + code + 'm' + text + "\x1B[0m";
}

} // namespace ksrbac
