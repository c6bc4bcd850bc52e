#include "ReaderSlots.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <mutex>
#include <new>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ForkRegistry.h"

namespace Tessara::Keepsafe::Platform::filelock {

namespace {

bool statusOf(const std::string& path, struct stat& status) noexcept
{
    return stat(path.c_str(), &status) == 0;
}

/// Whether the path still stands for that file, and the file has its size.
bool isSame(const std::string& path, const FileIdentity& file, std::size_t size) noexcept
{
    struct stat status {};
    return statusOf(path, status) && FileIdentity(status) == file &&
           status.st_size == static_cast<off_t>(size);
}

/// Whether this process may read the lock file, which is what a shared lock asks for.
bool mayRead(const std::string& lockPath, FileIdentity& identity) noexcept
{
    struct stat status {};
    if (!statusOf(lockPath, status) || !S_ISREG(status.st_mode)) {
        return false;
    }
    const System::Descriptor file(open(lockPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file.isOpen() || fstat(file.get(), &status) != 0) {
        return false;
    }
    identity = FileIdentity(status);
    return S_ISREG(status.st_mode);
}

/// In this process alone: a child is to have slots of its own.
bool mapOver(void* address, std::size_t size, int protection, const System::Descriptor& file) noexcept
{
    return mmap(address, size, protection, MAP_SHARED | MAP_FIXED, file.get(), 0) == address &&
           madvise(address, size, MADV_DONTFORK) == 0;
}

/// A file without a name, with room on the disk for all of it, so that no write to the mapping can fail.
System::Descriptor unnamedFile(const SlotFolder& folder) noexcept
{
    System::Descriptor file(openat(folder.descriptor(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    // Writers of whatever user must read it; who may come here at all is decided by the folder.
    if (!file.isOpen() || fchmod(file.get(), 0644) != 0 ||
        fallocate(file.get(), 0, 0, sizeof(SlotFile)) != 0) {
        return {};
    }
    return file;
}

/// Held until the last mapping of the open file goes, when the process has closed its descriptor.
bool lockForLife(const System::Descriptor& file) noexcept
{
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_len = 1;
    return fcntl(file.get(), F_OFD_SETLK, &lock) == 0;
}

std::string uniqueName()
{
    std::uint64_t random = 0;
    while (getrandom(&random, sizeof random, 0) != sizeof random) {
    }
    std::array<char, 64> name{};
    std::snprintf(name.data(), name.size(), "%s%ld-%016lx", SlotFolder::READER_PREFIX,
                  static_cast<long>(getpid()), random);
    return name.data();
}

bool giveName(const System::Descriptor& file, const SlotFolder& folder, const std::string& name) noexcept
{
    std::array<char, 64> self{};
    std::snprintf(self.data(), self.size(), "/proc/self/fd/%d", file.get());
    return linkat(AT_FDCWD, self.data(), folder.descriptor(), name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

} // namespace

ReaderSlots::ReaderSlots(const std::string& lockPath, const LockSettings& settings)
    : settings_(settings), lockPath_(lockPath), folderPath_(SlotFolder::pathFor(lockPath)),
      controlPath_(folderPath_ + '/' + SlotFolder::CONTROL)
{
}

ReaderSlots::~ReaderSlots()
{
    const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
    discardFile();
    if (reserved_ != nullptr) {
        munmap(reserved_, sizeof(Region));
    }
}

bool ReaderSlots::isHeldByThisThread() const noexcept
{
    Region* const region = region_.load(std::memory_order_acquire);
    const std::uint32_t thread = ThreadIndex::ofThisThread();
    return region != nullptr && thread != ThreadIndex::NONE &&
           ReaderSlot::isRaised(region->file.slots[thread].word.load(std::memory_order_relaxed));
}

std::vector<std::uint64_t> ReaderSlots::heldByOthers() const
{
    std::vector<std::uint64_t> words;
    if (Region* const region = region_.load()) {
        words.resize(std::min<std::size_t>(region->file.header.used.load(), SlotFile::SLOTS));
        for (std::size_t i = 0; i < words.size(); ++i) {
            const std::uint64_t word = region->file.slots[i].word.load();
            const std::uint64_t latest = i == ThreadIndex::ofThisThread() ? 1 : 0;
            words[i] = (word & ReaderSlot::DEPTH) > latest ? word : 0;
        }
    }
    return words;
}

bool ReaderSlots::haveEnded(const std::vector<std::uint64_t>& words) const noexcept
{
    Region* const region = region_.load();
    for (std::size_t i = 0; region != nullptr && i < words.size(); ++i) {
        const std::uint64_t now = region->file.slots[i].word.load();
        if (words[i] != 0 && ReaderSlot::isRaised(now) &&
            now / ReaderSlot::ACQUISITION == words[i] / ReaderSlot::ACQUISITION) {
            return false;
        }
    }
    return true;
}

void ReaderSlots::synchronizeWithWriter() noexcept
{
    if (Region* const region = region_.load(std::memory_order_acquire)) {
        const auto used = std::min<std::size_t>(region->file.header.used.load(), SlotFile::SLOTS);
        for (std::size_t i = 0; i < used; ++i) {
            static_cast<void>(region->file.slots[i].word.load(std::memory_order_acquire));
        }
    }
    epoch_.fetch_add(0, std::memory_order_acq_rel); // what readers load last
}

void ReaderSlots::forgetInChild() noexcept
{
    // The mappings were not inherited, and their addresses may come to mean anything.
    reserved_ = nullptr;
    region_.store(nullptr, std::memory_order_relaxed);
    epoch_.store(epoch_.load(std::memory_order_relaxed) | 1U, std::memory_order_relaxed);
    slotPath_.clear();
    look_.makeDue();
    retry_.makeDue();
}

void ReaderSlots::use(SlotFileHeader& header, std::uint32_t thread) noexcept
{
    std::uint32_t used = header.used.load();
    while (used <= thread && !header.used.compare_exchange_weak(used, thread + 1)) {
    }
}

void ReaderSlots::lookAtFiles() noexcept
{
    const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
    const std::uint64_t epoch = epoch_.load();
    if (epoch % 2 == 0) {
        if (filesAreCurrent()) {
            return;
        }
        epoch_.store(epoch + 1);
        retry_.makeDue();
    }
    if (!settings_.slots) {
        return;
    }
    try {
        renew();
    } catch (const std::bad_alloc&) {
        return; // the kernel lock needs no memory
    }
}

bool ReaderSlots::filesAreCurrent() const noexcept
{
    struct stat lockFile {};
    return statusOf(lockPath_, lockFile) && FileIdentity(lockFile) == lockFile_ &&
           isSame(controlPath_, controlFile_, ControlPage::SIZE) &&
           isSame(slotPath_, slotFile_, sizeof(SlotFile)) && reserved_->control.isSound() &&
           reserved_->file.header.isSound();
}

/// A thread that finds the epoch even raises its slot before it asks for the epoch again; so one that is not
/// seen here will find it odd.
bool ReaderSlots::anyRaised() const noexcept
{
    Region* const region = region_.load();
    return region != nullptr &&
           std::any_of(region->file.slots.begin(), region->file.slots.end(),
                       [](const ReaderSlot& slot) { return ReaderSlot::isRaised(slot.word.load()); });
}

void ReaderSlots::renew()
{
    struct stat status {};
    if (!statusOf(controlPath_, status) || anyRaised() || !retry_.isDue(settings_.registrationRetry)) {
        return;
    }
    discardFile();
    const SlotFolder folder(folderPath_);
    if (!folder.isOpen() || !folder.isCoherent() || !mayRead(lockPath_, lockFile_) || !reserveRegion() ||
        !mapControl(folder) || !mapNewFile(folder)) {
        return;
    }
    region_.store(reserved_);
    epoch_.store(epoch_.load() + 1);
    retry_.makeDue();
}

bool ReaderSlots::reserveRegion() noexcept
{
    if (reserved_ == nullptr) {
        void* const address =
            mmap(nullptr, sizeof(Region), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (address == MAP_FAILED) {
            return false;
        }
        reserved_ = static_cast<Region*>(address);
    }
    return true;
}

bool ReaderSlots::mapControl(const SlotFolder& folder)
{
    struct stat status {};
    const System::Descriptor file = folder.openFile(SlotFolder::CONTROL, O_RDONLY, status);
    if (!file.isOpen() || status.st_size != static_cast<off_t>(ControlPage::SIZE) ||
        !mapOver(&reserved_->control, ControlPage::SIZE, PROT_READ, file)) {
        return false;
    }
    controlFile_ = FileIdentity(status);
    return reserved_->control.isSound();
}

bool ReaderSlots::mapNewFile(const SlotFolder& folder)
{
    const System::Descriptor file = unnamedFile(folder);
    struct stat status {};
    if (!file.isOpen() || fstat(file.get(), &status) != 0 || !lockForLife(file) ||
        !mapOver(&reserved_->file, sizeof(SlotFile), PROT_READ | PROT_WRITE, file)) {
        return false;
    }
    SlotFileHeader& header = reserved_->file.header;
    header.magic = SlotFileHeader::MAGIC;
    header.version = SLOT_FORMAT_VERSION;
    header.processId = getpid();
    // Last of all, so that writers find a whole file, and its process alive.
    const std::string name = uniqueName();
    slotPath_.reserve(folderPath_.size() + 1 + name.size());
    if (!giveName(file, folder, name)) {
        return false;
    }
    slotPath_.assign(folderPath_).append(1, '/').append(name);
    slotFile_ = FileIdentity(status);
    return true;
}

void ReaderSlots::discardFile() noexcept
{
    struct stat status {};
    if (!slotPath_.empty() && statusOf(slotPath_, status) && FileIdentity(status) == slotFile_) {
        unlink(slotPath_.c_str());
    }
    slotPath_.clear();
}

} // namespace Tessara::Keepsafe::Platform::filelock
