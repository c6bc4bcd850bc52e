#include "io/Console.h"

#include <utility>

namespace ksrbac {

namespace {

constexpr std::size_t BUFFER_BYTES = std::size_t{64} * 1024;
constexpr char START_OF_EMPTY_LINE[] = "\r\x1B[K";

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
    if (!pending.empty() && terminal_.showsResults) {
        hideProgress();
    }
    results_.write(pending);
    if (pending.capacity() <= 2 * BUFFER_BYTES) {
        buffer_.reserve(pending.capacity());
    }
}

void Console::complain(std::string_view message)
{
    constexpr std::string_view NOTE = "note: ";
    const Colour colour = message.substr(0, NOTE.size()) == NOTE ? Colour::Attention : Colour::Bad;
    const std::string name = "ksrbac:";
    complainLine((areMessagesColoured_ ? coloured(name, colour) : name) + ' ' + std::string(message));
}

void Console::complainLine(std::string_view line)
{
    flush();
    hideProgress();
    writeMessage(std::string(line) + '\n');
}

void Console::writeMessage(const std::string& text) noexcept
{
    try {
        messages_.write(text);
    } catch (const OutputError&) {
        // There is nowhere else to report it; the exit status has to do.
        return;
    }
}

void Console::chooseColours(ColourChoice choice) noexcept
{
    areResultsColoured_ = terminal_.hasColouredResults(choice);
    areMessagesColoured_ = terminal_.hasColouredMessages(choice);
}

std::string Console::paint(const std::string& text, Colour colour) const
{
    return areResultsColoured_ ? coloured(text, colour) : text;
}

void Console::showProgress(const std::string& text) noexcept
{
    writeMessage(std::string(START_OF_EMPTY_LINE) + text);
    isProgressShown_ = true;
}

void Console::hideProgress() noexcept
{
    if (isProgressShown_) {
        isProgressShown_ = false;
        writeMessage(START_OF_EMPTY_LINE);
    }
}

} // namespace ksrbac
