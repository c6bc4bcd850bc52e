#include "ReaderSlots.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <mutex>
#include <new>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ForkRegistry.h"
#include "random_number.h"
#include "reader_files.h"
#include "reader_marks.h"
#include "replace_pages.h"

namespace Tessara::Keepsafe::Platform::filelock {

namespace {

/// How long after the start of a check a thread may enter by it: clearly less than the wait of a writer that
/// finds no control page, minus the delay of the clock.
constexpr std::chrono::milliseconds LONGEST_ENTRY{10};

bool statusOf(const std::string& path, struct stat& status) noexcept
{
    return stat(path.c_str(), &status) == 0;
}

/// Whether the path still leads to that file, and the file has its size.
bool isWhole(const std::string& path, const FileIdentity& file, std::size_t size) noexcept
{
    struct stat status {};
    return isAt(path, file, status) && status.st_size == static_cast<off_t>(size);
}

/// Whether it is a regular file with only this name: under another name, writers look for slots elsewhere.
bool isSuitable(const struct stat& status) noexcept
{
    return S_ISREG(status.st_mode) && status.st_nlink == 1;
}

/// Whether this process may read the lock file, which a shared lock requires.
bool mayRead(const std::string& lockPath, FileIdentity& identity) noexcept
{
    struct stat status {};
    if (!statusOf(lockPath, status) || !isSuitable(status)) {
        return false;
    }
    const Process::Descriptor file(open(lockPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file.isOpen() || fstat(file.get(), &status) != 0) {
        return false;
    }
    identity = FileIdentity(status);
    return isSuitable(status);
}

/// In this process only: a child must have its own slots.
bool mapOver(void* address, std::size_t size, int protection, const Process::Descriptor& file) noexcept
{
    return Process::replacePages(address, size, protection, MAP_SHARED, file.get()) &&
           madvise(address, size, MADV_DONTFORK) == 0;
}

/// Writers of any user must be able to read it; the folder decides who has access.
Process::Descriptor newSlotFile(const SlotFolder& folder) noexcept
{
    Process::Descriptor file = folder.unnamedFile(sizeof(SlotFile));
    if (file.isOpen() && fchmod(file.get(), 0644) != 0) {
        return {};
    }
    return file;
}

/// Makes an epoch odd, and another number than before.
void makeAnotherOddNumber(void* epoch) noexcept
{
    auto& number = *static_cast<std::atomic<std::uint64_t>*>(epoch);
    std::uint64_t before = number.load();
    while (!number.compare_exchange_weak(before, before + (before % 2 == 0 ? 1 : 2))) {
    }
}

std::string uniqueName()
{
    std::array<char, 64> name{};
    static_cast<void>(std::snprintf(name.data(), name.size(), "%s%ld-%016lx", SlotFolder::READER_PREFIX,
                                    static_cast<long>(getpid()), randomNumber()));
    return name.data();
}

} // namespace

ReaderSlots::ReaderSlots(const std::string& lockPath, const LockSettings& settings)
    : settings_(settings), lockPath_(lockPath)
{
}

ReaderSlots::~ReaderSlots()
{
    const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
    close();
}

void ReaderSlots::close() noexcept
{
    discardFile();
    if (reserved_ != nullptr) {
        epoch_.fetch_or(1);
        region_.store(nullptr);
        busErrors_.forget();
        munmap(reserved_, sizeof(Region));
        reserved_ = nullptr;
    }
}

bool ReaderSlots::isHeldBy(std::uint32_t thread) const noexcept
{
    return region_.load(std::memory_order_acquire) != nullptr && thread < own_->size() &&
           ReaderSlot::isRaised((*own_)[thread].word.load(std::memory_order_relaxed));
}

bool ReaderSlots::isCurrent() noexcept
{
    struct stat status {};
    if (statusOf(lockPath_, status) && FileIdentity(status) == lockFile_) {
        return true;
    }
    look_.makeStale();
    return false;
}

std::vector<std::uint64_t> ReaderSlots::heldByOthers() const
{
    std::vector<std::uint64_t> words;
    if (region_.load() == nullptr) {
        return words;
    }
    words.resize(own_->size());
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::uint64_t word = (*own_)[i].word.load();
        words[i] = ReaderSlot::isRaised(word) ? word : 0;
    }
    const std::uint32_t thread = ThreadIndex::ofThisThread();
    if (thread != ThreadIndex::NONE && (*own_)[thread].depth == 1) {
        words[thread] = 0;
    }
    return words;
}

bool ReaderSlots::haveEnded(const std::vector<std::uint64_t>& words) const noexcept
{
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] != 0 && (*own_)[i].word.load() == words[i]) {
            return false;
        }
    }
    return true;
}

void ReaderSlots::synchronizeWithWriter() noexcept
{
    if (region_.load() != nullptr) {
        for (const Own& slot : *own_) {
            static_cast<void>(slot.word.load(std::memory_order_acquire));
        }
    }
    epoch_.fetch_add(0, std::memory_order_acq_rel); // what readers load last
}

void ReaderSlots::forgetInChild() noexcept
{
    // The mappings were not inherited, and their addresses may come to mean anything.
    busErrors_.forget();
    reserved_ = nullptr;
    region_.store(nullptr, std::memory_order_relaxed);
    if (own_) {
        for (Own& slot : *own_) {
            slot.word.store(0, std::memory_order_relaxed);
            slot.depth = 0;
        }
    }
    epoch_.store(epoch_.load(std::memory_order_relaxed) | 1U, std::memory_order_relaxed);
    slotPath_.clear();
    look_.makeStale();
    retry_.makeDue();
}

void ReaderSlots::use(SlotFileHeader& header, std::uint32_t thread) noexcept
{
    std::uint32_t used = header.used.load();
    while (used <= thread && !header.used.compare_exchange_weak(used, thread + 1)) {
    }
}

ReaderSlots::Hold ReaderSlots::enterAfterLook(const Hold& hold) noexcept
{
    if (hold.slot != nullptr && hold.slot->depth > 1) {
        static_cast<void>(lookAtFiles()); // it has the lock, whatever the look finds
        return {hold.slot, 0};
    }
    if (hold.slot != nullptr) {
        leave(*hold.slot);
    }
    bool lookIsDue = false;
    Hold again =
        lookAtFiles() ? enter(std::max(settings_.pathCheckInterval, LONGEST_ENTRY), lookIsDue) : Hold();
    if (again.slot != nullptr && lookIsDue) {
        leave(*again.slot);
        again.slot = nullptr;
    }
    again.writes = 0; // so that callers that rely on it check their own files, too
    return again;
}

/// False: another thread is checking the files, or is forking.
bool ReaderSlots::lookAtFiles() noexcept
{
    const std::unique_lock<std::mutex> noFork(ForkRegistry::mutex(), std::try_to_lock);
    if (!noFork.owns_lock()) {
        return false;
    }
    const std::int64_t begunMs = Process::coarseMilliseconds();
    examineFiles();
    look_.renew(begunMs);
    return true;
}

void ReaderSlots::examineFiles() noexcept
{
    if (epoch_.load() % 2 == 0) {
        if (filesAreCurrent()) {
            return;
        }
        epoch_.fetch_or(1);
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
    struct stat status {};
    return statusOf(lockPath_, status) && FileIdentity(status) == lockFile_ && isSuitable(status) &&
           isAt(folderPath_, folder_) && isWhole(controlPath_, controlFile_, ControlPage::SIZE) &&
           isWhole(slotPath_, slotFile_, sizeof(SlotFile)) && reserved_->control.isSound() &&
           reserved_->file.header.isSound();
}

/// A thread that finds the epoch even raises its slot before it reads the epoch again; so one that is not
/// seen here will find it odd.
bool ReaderSlots::anyInside() const noexcept
{
    return own_ && std::any_of(own_->begin(), own_->end(),
                               [](const Own& slot) { return ReaderSlot::isRaised(slot.word.load()); });
}

void ReaderSlots::renew()
{
    struct stat status {};
    if (findFolder_.isDue(settings_.registrationRetry)) {
        findFolder(); // the name of the lock file may be a link, and lead elsewhere now
    }
    if (!statusOf(controlPath_, status) || anyInside() || !retry_.isDue(settings_.registrationRetry)) {
        return;
    }
    discardFile();
    dropMappings();
    findFolder();
    std::uint64_t epoch = epoch_.load();
    if (!mapFiles()) {
        // The lock that a mapping keeps would show writers a reader that does not exist, and a failed mapping
        // may have left a hole.
        dropMappings();
        return;
    }
    region_.store(reserved_);
    // The number is different if a page of these mappings turned out to be missing.
    if (epoch_.compare_exchange_strong(epoch, epoch + 1)) {
        retry_.makeDue();
    }
}

void ReaderSlots::findFolder()
{
    folderPath_ = SlotFolder::pathFor(lockPath_);
    controlPath_ = folderPath_ + '/' + SlotFolder::CONTROL;
}

bool ReaderSlots::mapFiles()
{
    const SlotFolder folder(folderPath_);
    struct stat status {};
    if (!folder.isOpen() || fstat(folder.descriptor(), &status) != 0 || !folder.isCoherent() ||
        !mayRead(lockPath_, lockFile_) || !reserveRegion()) {
        return false;
    }
    folder_ = FileIdentity(status);
    const Process::Descriptor control = mapControl(folder);
    return control.isOpen() && mapNewFile(folder, control);
}

/// Releases the locks of the open files, which the mappings keep. A thread may be about to use the memory, so
/// private memory takes its place.
void ReaderSlots::dropMappings() noexcept
{
    if (reserved_ != nullptr) {
        static_cast<void>(Process::replacePages(reserved_, sizeof(Region), PROT_READ | PROT_WRITE,
                                                MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE));
        static_cast<void>(madvise(reserved_, sizeof(Region), MADV_DONTFORK));
    }
}

bool ReaderSlots::reserveRegion()
{
    if (reserved_ != nullptr) {
        return true;
    }
    if (!own_) {
        own_ = std::make_unique<OwnSlots>();
    }
    void* const address =
        mmap(nullptr, sizeof(Region), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (address == MAP_FAILED) {
        return false;
    }
    reserved_ = static_cast<Region*>(address);
    for (std::size_t i = 0; i < own_->size(); ++i) {
        (*own_)[i].shared = &reserved_->file.slots[i];
    }
    busErrors_.guard(reserved_, sizeof(Region), &makeAnotherOddNumber, &epoch_);
    return true;
}

/// Returns the open file; not open when the page cannot be used.
Process::Descriptor ReaderSlots::mapControl(const SlotFolder& folder)
{
    struct stat status {};
    Process::Descriptor file = folder.openFile(SlotFolder::CONTROL, O_RDONLY, status);
    if (!file.isOpen() || status.st_size != static_cast<off_t>(ControlPage::SIZE) ||
        !mapOver(&reserved_->control, ControlPage::SIZE, PROT_READ, file) || !reserved_->control.isSound()) {
        return {};
    }
    controlFile_ = FileIdentity(status);
    return file;
}

bool ReaderSlots::mapNewFile(const SlotFolder& folder, const Process::Descriptor& control)
{
    const Process::Descriptor file = newSlotFile(folder);
    struct stat status {};
    if (!file.isOpen() || fstat(file.get(), &status) != 0 || !lockForLife(file) ||
        !markReader(control, status.st_ino) ||
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
    if (!folder.giveName(file, name.c_str())) {
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
    slotPath_.clear(); // this process has no file now
}

} // namespace Tessara::Keepsafe::Platform::filelock
