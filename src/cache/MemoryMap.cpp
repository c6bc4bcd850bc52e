#include <keepsafe/cache/detail/MemoryMap.h>

#include <cerrno>
#include <iostream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <keepsafe/platform/log/logmsg.h>

#include "file_status.h"

namespace Tessara::Keepsafe::Rbac::detail {

namespace {

const MappedRegion NOTHING{};

/// Prints on standard error what went wrong with which file, then throws the fixed text that callers know.
/// `action` is "opening", "statting" or "mapping".
[[noreturn]] void throwFileError(const char* action, const std::string& path, int error)
{
    const std::string what = std::string("error ") + action;
    const std::string line = what + ' ' + path + ": " + std::generic_category().message(error) + '\n';
    std::cerr << line << std::flush;
    throw std::runtime_error(what + " file");
}

} // namespace

struct MemoryMap::Mapping {
    explicit Mapping(const MappedRegion& mapped) noexcept : region(mapped) {}
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;
    ~Mapping()
    {
        if (region.address != nullptr) {
            munmap(const_cast<std::byte*>(region.address), region.size);
        }
    }

    const MappedRegion region;
};

MemoryMap::MemoryMap(const std::string& path) : path_(path), region_(&NOTHING)
{
    fd_ = open(path_.c_str(), O_RDONLY);
    const int openError = errno;
    logmsgf(Platform::LOG_LEVEL_INFORMATION, "MemoryMap", "instantiating memory map for %s", path_.c_str());
    if (fd_ == -1) {
        throwFileError("opening", path_, openError);
    }
    fcntl(fd_, F_SETFD, FD_CLOEXEC);
    try {
        map();
    } catch (...) {
        close(fd_);
        throw;
    }
}

MemoryMap::~MemoryMap()
{
    unmap();
    releaseRetired();
    close(fd_);
}

std::size_t MemoryMap::current_size() const
{
    struct stat status = {};
    if (Process::fileStatus(fd_, status) != 0) {
        throwFileError("statting", path_, errno);
    }
    return static_cast<std::size_t>(status.st_size);
}

void MemoryMap::map() { publish(mapCurrent()); }

void MemoryMap::unmap()
{
    region_.store(&NOTHING);
    current_.reset();
}

void MemoryMap::refresh()
{
    if (current_size() == size()) {
        return;
    }
    auto renewed = mapCurrent();
    retired_.reserve(retired_.size() + 1);
    retired_.push_back(std::exchange(current_, nullptr));
    publish(std::move(renewed));
}

void MemoryMap::releaseRetired() noexcept { retired_.clear(); }

std::unique_ptr<MemoryMap::Mapping> MemoryMap::mapCurrent() const
{
    const std::size_t size = current_size();
    if (size == 0) {
        return std::make_unique<Mapping>(NOTHING);
    }
    void* address = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd_, 0);
    if (address == MAP_FAILED) {
        throwFileError("mapping", path_, errno);
    }
    try {
        return std::make_unique<Mapping>(MappedRegion{static_cast<const std::byte*>(address), size});
    } catch (...) {
        munmap(address, size);
        throw;
    }
}

void MemoryMap::publish(std::unique_ptr<Mapping> mapping) noexcept
{
    current_ = std::move(mapping);
    region_.store(&current_->region);
}

} // namespace Tessara::Keepsafe::Rbac::detail
