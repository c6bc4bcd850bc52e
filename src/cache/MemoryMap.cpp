#include <keepsafe/cache/detail/MemoryMap.h>

#include <cerrno>
#include <iostream>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/mapping/MappingGuard.h>

#include "Descriptor.h"
#include "file_status.h"
#include "read_file.h"
#include "tell.h"

namespace Tessara::Keepsafe::Rbac::detail {

namespace {

const MappedRegion NOTHING{};

/// Prints on standard error what went wrong with which file, then throws the fixed text that callers know.
/// `action` is "opening", "statting" or "mapping".
[[noreturn]] void throwFileError(const char* action, const std::string& path, int error)
{
    const std::string what = std::string("error ") + action;
    diagnostics::TellAfterwards::tell(
        {0, nullptr, what + ' ' + path + ": " + Process::failureText(error), [](const std::string& text) {
             std::cerr << text + '\n' << std::flush;
         }});
    throw std::runtime_error(what + " file");
}

void countMissingPage(void* count) noexcept { ++*static_cast<MissingPages*>(count); }

[[noreturn]] void throwOpenError(const std::string& path, int failure)
{
    if (failure == EISDIR) {
        throwFileError("mapping", path, ENODEV); // it opens, but the system does not map it
    }
    throwFileError("opening", path, failure);
}

struct stat statusOf(int descriptor, const std::string& path)
{
    struct stat status {};
    if (Process::fileStatus(descriptor, status) != 0) {
        throwFileError("statting", path, errno);
    }
    return status;
}

} // namespace

struct MemoryMap::Mapping {
    Mapping(const MappedRegion& mapped, MissingPages* missingPages) noexcept : region(mapped)
    {
        if (region.address != nullptr && missingPages != nullptr) {
            guard_.guard(region.address, region.size, &countMissingPage, missingPages);
        }
    }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;
    ~Mapping()
    {
        guard_.forget();
        if (region.address != nullptr) {
            munmap(const_cast<std::byte*>(region.address), region.size);
        }
    }

    const MappedRegion region;

private:
    Platform::MappingGuard guard_;
};

MemoryMap::MemoryMap(const std::string& path, MissingPages* missingPages)
    : path_(path), missingPages_(missingPages), region_(&NOTHING)
{
    int failure = 0;
    Process::Descriptor file = Process::openRegularFile(path_, failure);
    logmsgf(Platform::LOG_LEVEL_INFORMATION, "MemoryMap", "instantiating memory map for %s", path_.c_str());
    if (!file.isOpen()) {
        throwOpenError(path_, failure);
    }
    remember(statusOf(file.get(), path_));
    publish(mapFile(file.get()));
    fd_ = file.release();
}

MemoryMap::~MemoryMap()
{
    unmap();
    releaseRetired();
    if (isStillOpen()) {
        close(fd_);
    }
}

std::size_t MemoryMap::current_size() const
{
    const struct stat status = statusOf(fd_, path_);
    if (!isThisFile(status)) {
        throwFileError("statting", path_, ESTALE);
    }
    return static_cast<std::size_t>(status.st_size);
}

MemoryMap::Change MemoryMap::change() const { return changeTo(statusOf(fd_, path_)); }

MemoryMap::Change MemoryMap::changeAtPath() const
{
    struct stat status {};
    return stat(path_.c_str(), &status) == 0 ? changeTo(status) : Change::Gone;
}

MemoryMap::Change MemoryMap::changeTo(const struct stat& status) const noexcept
{
    if (!isThisFile(status)) {
        return Change::Replaced;
    }
    return static_cast<std::size_t>(status.st_size) == size() ? Change::None : Change::Size;
}

void MemoryMap::remember(const struct stat& status) noexcept
{
    device_.store(status.st_dev, std::memory_order_relaxed);
    inode_.store(status.st_ino, std::memory_order_relaxed);
}

bool MemoryMap::isThisFile(const struct stat& status) const noexcept
{
    return status.st_ino == inode_.load(std::memory_order_relaxed) &&
           status.st_dev == device_.load(std::memory_order_relaxed);
}

bool MemoryMap::isStillOpen() const noexcept
{
    struct stat status {};
    return Process::fileStatus(fd_, status) == 0 && isThisFile(status);
}

void MemoryMap::map() { publish(mapFile(fd_)); }

void MemoryMap::unmap()
{
    region_.store(&NOTHING);
    size_.store(0, std::memory_order_relaxed);
    current_.reset();
}

void MemoryMap::refresh()
{
    if (current_size() != size()) {
        auto renewed = mapFile(fd_);
        retired_.reserve(retired_.size() + 1);
        replace(std::move(renewed));
    }
}

void MemoryMap::reopen()
{
    int failure = 0;
    Process::Descriptor file = Process::openRegularFile(path_, failure);
    if (!file.isOpen()) {
        throwOpenError(path_, failure);
    }
    const struct stat status = statusOf(file.get(), path_);
    auto renewed = mapFile(file.get());
    retired_.reserve(retired_.size() + 1);
    // The number stays where it can, because other threads ask for the size by it at any moment.
    if (!isStillOpen()) {
        fd_ = file.release();
    } else if (dup3(file.get(), fd_, O_CLOEXEC) == -1) {
        throwFileError("opening", path_, errno);
    }
    remember(status);
    replace(std::move(renewed));
}

void MemoryMap::releaseRetired() noexcept { retired_.clear(); }

std::unique_ptr<MemoryMap::Mapping> MemoryMap::mapFile(int descriptor) const
{
    const auto size = static_cast<std::size_t>(statusOf(descriptor, path_).st_size);
    if (size == 0) {
        return std::make_unique<Mapping>(NOTHING, nullptr);
    }
    void* address = mmap(nullptr, size, PROT_READ, MAP_SHARED, descriptor, 0);
    if (address == MAP_FAILED) {
        throwFileError("mapping", path_, errno);
    }
    try {
        return std::make_unique<Mapping>(MappedRegion{static_cast<const std::byte*>(address), size},
                                         missingPages_);
    } catch (...) {
        munmap(address, size);
        throw;
    }
}

/// There is room for one more retired mapping.
void MemoryMap::replace(std::unique_ptr<Mapping> mapping) noexcept
{
    retired_.push_back(std::exchange(current_, nullptr));
    publish(std::move(mapping));
}

void MemoryMap::publish(std::unique_ptr<Mapping> mapping) noexcept
{
    current_ = std::move(mapping);
    size_.store(current_->region.size, std::memory_order_relaxed);
    region_.store(&current_->region);
}

} // namespace Tessara::Keepsafe::Rbac::detail
