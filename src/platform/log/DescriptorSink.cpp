#include "DescriptorSink.h"

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <exception>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "line.h"

namespace Tessara::Keepsafe::Platform::detail {
namespace {

void writeAll(int descriptor, const char* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = ::write(descriptor, data, size);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}

Process::Descriptor openForAppending(const std::string& path)
{
    constexpr int FLAGS = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY;
    constexpr mode_t MODE = 0640;
    const auto openOnce = [&path](int flags) {
        int opened = -1;
        do {
            opened = ::open(path.c_str(), flags, MODE);
        } while (opened < 0 && errno == EINTR);
        return opened;
    };
    int descriptor = openOnce(FLAGS | O_EXCL);
    if (descriptor >= 0) {
        static_cast<void>(::fchmod(descriptor, MODE)); // a new file: the umask was in force
    } else if (errno == EEXIST) {
        descriptor = openOnce(FLAGS);
    }
    if (descriptor < 0) {
        const int error = errno;
        throw std::runtime_error("cannot open the log file \"" + path +
                                 "\": " + std::generic_category().message(error));
    }
    return Process::Descriptor(descriptor);
}

} // namespace

void DescriptorSink::write(const LogRecord& record) noexcept
{
    try {
        spdlog::memory_buf_t line;
        appendLine(record, std::chrono::system_clock::now(), line);
        writeAll(descriptor_, line.data(), line.size());
    } catch (const std::exception&) {
        // Out of memory: the message is lost, and there is nowhere to report it.
        return;
    }
}

StderrSink::StderrSink() noexcept : DescriptorSink(STDERR_FILENO) {}

FileSink::FileSink(const std::string& path) : FileSink(openForAppending(path)) {}

FileSink::FileSink(Process::Descriptor file) noexcept : DescriptorSink(file.get()), file_(std::move(file)) {}

FileSink::~FileSink() = default;

} // namespace Tessara::Keepsafe::Platform::detail
