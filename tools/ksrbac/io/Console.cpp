#include "io/Console.h"

#include <utility>

namespace ksrbac {

namespace {

constexpr std::size_t BUFFER_BYTES = std::size_t{64} * 1024;

} // namespace

void Console::print(std::string_view text)
{
    buffer_.append(text);
    if (buffer_.size() >= BUFFER_BYTES) {
        flush();
    }
}

void Console::flush()
{
    // Emptied first: after a failure there is no second attempt with the same bytes.
    const std::string pending = std::exchange(buffer_, std::string());
    results_.write(pending);
    if (pending.capacity() <= 2 * BUFFER_BYTES) {
        buffer_.reserve(pending.capacity());
    }
}

void Console::complain(std::string_view message) { complainLine("ksrbac: " + std::string(message)); }

void Console::complainLine(std::string_view line)
{
    flush();
    try {
        messages_.write(std::string(line) + '\n');
    } catch (const OutputError&) {
        // There is nowhere else to report it; the exit status has to do.
        return;
    }
}

} // namespace ksrbac
