#include "change/MeasuredFileSystem.h"

#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

#include "Turns.h"

namespace keepsafe_bench {

namespace {

std::string nameOf(const keepsafe_service::OpenFile& file)
{
    return std::filesystem::path(file.path()).filename().string();
}

} // namespace

void MeasuredFileSystem::write(const keepsafe_service::OpenFile& file, std::uint64_t offset,
                               std::string_view bytes)
{
    if (takesNotes_) {
        steps_.push_back({nameOf(file), false, offset, std::string(bytes)});
    }
    PosixFileSystem::write(file, offset, bytes);
}

void MeasuredFileSystem::sync(const keepsafe_service::OpenFile& file)
{
    if (takesNotes_) {
        steps_.push_back({nameOf(file), true, 0, ""});
    }
    waited_ += nanosecondsOf([&] { PosixFileSystem::sync(file); });
}

void MeasuredFileSystem::syncDirectory(const std::string& path)
{
    waited_ += nanosecondsOf([&] { PosixFileSystem::syncDirectory(path); });
}

void MeasuredFileSystem::startNotes()
{
    takesNotes_ = true;
    steps_.clear();
    waited_ = 0;
}

BareFiles::BareFiles(const std::filesystem::path& from, const std::filesystem::path& to)
{
    std::filesystem::create_directories(to);
    for (const auto& entry : std::filesystem::directory_iterator(from)) {
        if (!entry.is_regular_file()) {
            continue; // the lock's folder for readers
        }
        const std::filesystem::path copy = to / entry.path().filename();
        std::filesystem::copy_file(entry.path(), copy);
        const int descriptor = ::open(copy.c_str(), O_RDWR | O_CLOEXEC);
        if (descriptor == -1 || ::fsync(descriptor) != 0) {
            throw std::runtime_error("cannot open " + copy.string());
        }
        descriptors_[entry.path().filename().string()] = descriptor;
    }
}

BareFiles::~BareFiles()
{
    for (const auto& [name, descriptor] : descriptors_) {
        ::close(descriptor);
    }
}

void BareFiles::replay(const std::vector<Step>& steps) const
{
    for (const Step& step : steps) {
        const int descriptor = descriptors_.at(step.file);
        const bool isDone = step.isSync ? ::fdatasync(descriptor) == 0
                                        : ::pwrite(descriptor, step.bytes.data(), step.bytes.size(),
                                                   static_cast<off_t>(step.offset)) ==
                                              static_cast<ssize_t>(step.bytes.size());
        if (!isDone) {
            throw std::runtime_error("cannot write to the copy of " + step.file);
        }
    }
}

} // namespace keepsafe_bench
