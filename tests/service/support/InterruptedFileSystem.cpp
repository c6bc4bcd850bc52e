#include "service/support/InterruptedFileSystem.h"

#include <csignal>

#include "files/FileError.h"

namespace keepsafe_test {

using keepsafe_service::FileError;
using keepsafe_service::OpenFile;

void InterruptedFileSystem::interrupt() const
{
    if (interruption_ == Interruption::Failure) {
        throw FileError("the step fails");
    }
    static_cast<void>(std::raise(SIGKILL));
}

void InterruptedFileSystem::interruptIfTheStep()
{
    if (isTheStep()) {
        interrupt();
    }
}

void InterruptedFileSystem::createDirectories(const std::string& path)
{
    interruptIfTheStep();
    UnsyncedFileSystem::createDirectories(path);
}

OpenFile InterruptedFileSystem::openOrCreate(const std::string& path)
{
    interruptIfTheStep();
    return UnsyncedFileSystem::openOrCreate(path);
}

void InterruptedFileSystem::allocate(const OpenFile& file, std::uint64_t size)
{
    interruptIfTheStep();
    UnsyncedFileSystem::allocate(file, size);
}

void InterruptedFileSystem::write(const OpenFile& file, std::uint64_t offset, std::string_view bytes)
{
    if (isTheStep()) {
        if (interruption_ != Interruption::Death) {
            UnsyncedFileSystem::write(file, offset, bytes.substr(0, bytes.size() / 2));
        }
        interrupt();
    }
    UnsyncedFileSystem::write(file, offset, bytes);
}

void InterruptedFileSystem::truncate(const OpenFile& file)
{
    interruptIfTheStep();
    UnsyncedFileSystem::truncate(file);
}

void InterruptedFileSystem::sync(const OpenFile& file)
{
    interruptIfTheStep();
    UnsyncedFileSystem::sync(file);
}

void InterruptedFileSystem::syncDirectory(const std::string& path)
{
    interruptIfTheStep();
    UnsyncedFileSystem::syncDirectory(path);
}

void InterruptedFileSystem::rename(const std::string& from, const std::string& to)
{
    interruptIfTheStep();
    UnsyncedFileSystem::rename(from, to);
}

void InterruptedFileSystem::restrictLike(const OpenFile& file, const std::string& model)
{
    interruptIfTheStep();
    UnsyncedFileSystem::restrictLike(file, model);
}

} // namespace keepsafe_test
