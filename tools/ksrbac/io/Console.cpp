#include "io/Console.h"

#include <cstdint>
#include <utility>

#include "output/Json.h"
#include "output/escape.h"

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
    writeResults(pending);
    if (pending.capacity() <= 2 * BUFFER_BYTES) {
        buffer_.reserve(pending.capacity());
    }
}

void Console::note(std::string_view message)
{
    say("note", message, programName(Colour::Attention) + " note: ");
}

void Console::complain(std::string_view message) { say("warning", message, programName(Colour::Bad) + ' '); }

void Console::complainLine(std::string_view line) { say("warning", line, ""); }

void Console::fail(const Failure& failure, const std::string& command, ExitStatus exitStatus)
{
    if (!json_) {
        writeLine(programName(Colour::Bad) + ' ' + printable(failure.text()));
        if (!failure.hint.empty()) {
            writeLine(printable(failure.hint));
        }
        return;
    }
    JsonObject error;
    error.add("command", failure.command.empty() ? command : failure.command)
        .add("kind", nameOf(failure.kind))
        .add("exitStatus", static_cast<std::int64_t>(exitStatus));
    if (failure.status != 0) {
        error.add("status", std::int64_t{failure.status});
    }
    if (failure.httpStatus != 0) {
        error.add("httpStatus", std::int64_t{failure.httpStatus});
    }
    error.add("message", failure.message);
    if (!failure.hint.empty()) {
        error.add("hint", failure.hint);
    }
    writeLine(JsonObject().add("error", error).text());
}

void Console::say(const char* kind, std::string_view message, const std::string& begin)
{
    writeLine(json_ ? JsonObject().add(kind, message).text() : begin + printable(message));
}

std::string Console::programName(Colour colour) const
{
    const std::string name = "ksrbac:";
    return areMessagesColoured_ ? coloured(name, colour) : name;
}

void Console::writeLine(const std::string& line)
{
    flush();
    const std::lock_guard<std::mutex> lock(mutex_);
    clearLine();
    writeMessage(line + '\n');
}

void Console::writeResults(std::string_view bytes)
{
    if (!terminal_.showsResults || bytes.empty()) {
        results_.write(bytes);
        return;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    clearLine();
    isWithinResult_ = bytes.back() != '\n';
    results_.write(bytes);
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
    const std::lock_guard<std::mutex> lock(mutex_);
    hasProgress_ = true;
    showLine(text);
}

void Console::hideProgress() noexcept
{
    const std::lock_guard<std::mutex> lock(mutex_);
    hasProgress_ = false;
    clearLine();
}

void Console::nameActivity(const std::string& activity)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    activity_ = printable(activity);
}

void Console::showActivity(std::chrono::seconds elapsed) noexcept
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!hasProgress_) {
        showLine(activity_ + " (" + std::to_string(elapsed.count()) + " s)");
    }
}

void Console::hideActivity() noexcept
{
    const std::lock_guard<std::mutex> lock(mutex_);
    clearLine();
}

void Console::showLine(const std::string& text) noexcept
{
    if (!isWithinResult_) {
        writeMessage(std::string(START_OF_EMPTY_LINE) + text);
        isLineShown_ = true;
    }
}

void Console::clearLine() noexcept
{
    if (isLineShown_) {
        isLineShown_ = false;
        writeMessage(START_OF_EMPTY_LINE);
    }
}

} // namespace ksrbac
