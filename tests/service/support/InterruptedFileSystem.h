#ifndef KEEPSAFE_TESTS_SERVICE_SUPPORT_INTERRUPTEDFILESYSTEM_H
#define KEEPSAFE_TESTS_SERVICE_SUPPORT_INTERRUPTEDFILESYSTEM_H

#include <cstddef>

#include "files/PosixFileSystem.h"

namespace keepsafe_test {

/// The real file system without waiting for the disk: what a killed process has written is there, and tests
/// with hundreds of writes are quick.
class UnsyncedFileSystem : public keepsafe_service::PosixFileSystem {
public:
    void sync(const keepsafe_service::OpenFile& /*file*/) override {}
    void syncDirectory(const std::string& /*path*/) override {}
};

/// The file system up to one step, at which the process dies or the step fails.
class InterruptedFileSystem : public UnsyncedFileSystem {
public:
    enum class Interruption {
        Death,            ///< kill -9 before the step
        DeathInTheMiddle, ///< kill -9 when half of the bytes are written; before the step if it writes none
        Failure           ///< the step throws `FileError`; half of the bytes are written
    };

    InterruptedFileSystem(std::size_t step, Interruption interruption)
        : stepsLeft_(step), interruption_(interruption)
    {
    }

    void createDirectories(const std::string& path) override;
    keepsafe_service::OpenFile openOrCreate(const std::string& path) override;
    void allocate(const keepsafe_service::OpenFile& file, std::uint64_t size) override;
    void write(const keepsafe_service::OpenFile& file, std::uint64_t offset, std::string_view bytes) override;
    void truncate(const keepsafe_service::OpenFile& file) override;
    void sync(const keepsafe_service::OpenFile& file) override;
    void syncDirectory(const std::string& path) override;
    void rename(const std::string& from, const std::string& to) override;
    void restrictLike(const keepsafe_service::OpenFile& file, const std::string& model) override;

private:
    [[nodiscard]] bool isTheStep() noexcept { return stepsLeft_-- == 0; }
    void interrupt() const;
    void interruptIfTheStep();

    std::size_t stepsLeft_;
    Interruption interruption_;
};

} // namespace keepsafe_test

#endif
