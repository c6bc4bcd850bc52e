#include "SlotBarrier.h"

#include <algorithm>
#include <cerrno>
#include <mutex>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "CoarseClock.h"
#include "ForkRegistry.h"
#include "LockFile.h"
#include "random_number.h"
#include "reader_files.h"
#include "reader_marks.h"

namespace Tessara::Keepsafe::Platform::filelock {

namespace {

constexpr mode_t PERMISSIONS = 07777;
constexpr std::chrono::microseconds PAUSE{500};

/// Whether a folder could not be opened because there is none, or something else is in its place.
bool isNoFolder(int error) noexcept { return error == ENOENT || error == ENOTDIR || error == ELOOP; }

[[noreturn]] void fail(const std::string& what, int error)
{
    throw LockFileError(what + ": " + SystemErrorText(error).text());
}

/// Gives `made` the owner, group and permissions of the file that it is beside, without those that would
/// apply to a different owner or group.
bool takeAfter(int made, const std::string& model, mode_t mask) noexcept
{
    struct stat wanted {};
    struct stat status {};
    if (stat(model.c_str(), &wanted) != 0) {
        return false;
    }
    constexpr auto AS_IT_IS = static_cast<uid_t>(-1);
    if (fchown(made, wanted.st_uid, wanted.st_gid) != 0 && fchown(made, AS_IT_IS, wanted.st_gid) != 0) {
        // Then without the group's permissions.
    }
    if (fstat(made, &status) != 0) {
        return false;
    }
    mode_t mode = wanted.st_mode & mask;
    if (status.st_gid != wanted.st_gid) {
        mode &= ~(mode_t{S_IRWXG} | S_ISGID);
    }
    return fchmod(made, mode) == 0;
}

std::string parentOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

/// An even number that no process has seen before.
std::uint64_t firstWrites() noexcept { return std::max<std::uint64_t>(randomNumber() / 4 * 2, 2); }

/// Makes the count odd: one more than it was or, if a writer died with it odd, a different odd number, which
/// would show that writer that it was taken for dead. Returns it.
std::uint64_t makeOdd(ControlPage& page) noexcept
{
    std::uint64_t writes = page.writes.load();
    std::uint64_t odd = 0;
    do {
        odd = writes + (writes % 2 == 0 ? 1 : 2);
    } while (!page.writes.compare_exchange_weak(writes, odd));
    return odd;
}

/// By the clock by which readers measure the age of a check.
void waitFor(std::chrono::milliseconds length) noexcept
{
    const std::int64_t end = Process::coarseMilliseconds() + length.count();
    for (std::int64_t now = Process::coarseMilliseconds(); now < end; now = Process::coarseMilliseconds()) {
        sleepOnce(std::chrono::milliseconds(end - now));
    }
}

} // namespace

SlotBarrier::SlotBarrier(const std::string& lockPath, const LockSettings& settings)
    : settings_(settings), lockPath_(lockPath)
{
}

SlotBarrier::~SlotBarrier() { lower(); }

bool SlotBarrier::raise()
{
    lower();
    Page page = findPage();
    if (page == Page::Missing || lockFileHasOtherNames()) {
        // Readers may rely on a page that has been removed, or on this one by another name of the lock file,
        // until they check the paths. Only then is there a new page: a writer that finds one need not wait.
        waitFor(settings_.newPageWait);
    }
    if (page == Page::Missing && !makePage()) {
        page = findPage(); // one that somebody else has made
    }
    isRaised_ = true;
    return page == Page::OfNoUse || (listReaders() && (page_ == nullptr || isInForce()));
}

void SlotBarrier::raiseEarly()
{
    lower();
    if (lockFileHasOtherNames()) {
        return; // that takes a wait
    }
    const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
    folderPath_ = SlotFolder::pathFor(lockPath_);
    const SlotFolder folder(folderPath_);
    struct stat status {};
    const Process::Descriptor file = folder.isOpen() && folder.isCoherent()
                                         ? folder.openFile(SlotFolder::CONTROL, O_RDWR, status)
                                         : Process::Descriptor();
    if (!file.isOpen() || status.st_size != static_cast<off_t>(ControlPage::SIZE) || !map(file)) {
        return;
    }
    std::uint64_t writes = page_->writes.load();
    // An odd count belongs to a writer that may be inside; nobody replaces it without the lock.
    if (!page_->isSound() || writes % 2 != 0 || !page_->writes.compare_exchange_strong(writes, writes + 1)) {
        unmap();
        return;
    }
    odd_ = writes + 1;
    pageFile_ = FileIdentity(status);
    isRaised_ = true;
    isConfirmed_ = true;
    list(folder);
}

bool SlotBarrier::isInForce() const
{
    return page_ != nullptr && page_->writes.load() == odd_ && isAt(folderPath_, folder_) &&
           isAt(folderPath_ + '/' + SlotFolder::CONTROL, pageFile_);
}

bool SlotBarrier::isClear()
{
    while (!isClear_) {
        if (!listedReadersHaveLeft()) {
            return false;
        }
        if (!isClear_) {
            sleepOnce(PAUSE); // some moments, and not a matter of the timeout
        }
    }
    return true;
}

/// False also when the folder is no longer there: then the barrier is not in force either.
bool SlotBarrier::listedReadersHaveLeft()
{
    const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
    const SlotFolder folder(folderPath_);
    if (isNoFolder(folder.error())) {
        return false;
    }
    if (!folder.isOpen()) {
        fail("cannot open " + folderPath_, folder.error());
    }
    inside_.erase(
        std::remove_if(inside_.begin(), inside_.end(),
                       [&](const SlotFolder::Reader& reader) { return isOut(folder, reader.name); }),
        inside_.end());
    isClear_ = inside_.empty() && !anyMayBeInsideWithoutFile(folder);
    return inside_.empty();
}

void SlotBarrier::lower() noexcept
{
    if (page_ != nullptr) {
        if (isConfirmed_) {
            // A different number belongs to another writer, which may be inside.
            page_->writes.compare_exchange_strong(odd_, odd_ + 1);
        }
        unmap();
    }
    isRaised_ = false;
    isConfirmed_ = false;
    isClear_ = false;
}

void SlotBarrier::forgetInChild() noexcept
{
    busErrors_.forget();
    page_ = nullptr;
    isRaised_ = false;
}

/// Finds the folder at the path again, and its contents. False: it has just been removed.
bool SlotBarrier::listReaders()
{
    const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
    const SlotFolder folder(folderPath_);
    if (folder.isOpen()) {
        list(folder);
        return true;
    }
    if (!isNoFolder(folder.error())) {
        fail("cannot open " + folderPath_, folder.error());
    }
    // Without a page there are no slots where there is no folder.
    isClear_ = page_ == nullptr;
    return isClear_;
}

void SlotBarrier::list(const SlotFolder& folder)
{
    struct stat status {};
    if (fstat(folder.descriptor(), &status) == 0) {
        folder_ = FileIdentity(status);
    }
    raisedAtMs_ = Process::coarseMilliseconds();
    inside_ = folder.readers();
    isClear_ = false;
}

/// Readers' files have been removed. Such a reader makes another one when it next checks the path, and holds
/// from before the barrier was raised last only moments longer.
bool SlotBarrier::anyMayBeInsideWithoutFile(const SlotFolder& folder) const
{
    if (hasWaitedForOthersToLook()) {
        return false;
    }
    struct stat status {};
    const Process::Descriptor control = folder.openFile(SlotFolder::CONTROL, O_RDONLY, status);
    return control.isOpen() && hasUnlistedReader(control, folder.readers());
}

/// Since it was raised, every reader that was not stopped has checked the paths.
bool SlotBarrier::hasWaitedForOthersToLook() const noexcept
{
    return Process::coarseMilliseconds() - raisedAtMs_ >= settings_.newPageWait.count();
}

bool SlotBarrier::lockFileHasOtherNames() const noexcept
{
    struct stat status {};
    return stat(lockPath_.c_str(), &status) == 0 && status.st_nlink > 1;
}

bool SlotBarrier::map(const Process::Descriptor& file) noexcept
{
    void* const address = mmap(nullptr, ControlPage::SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (address == MAP_FAILED) {
        return false;
    }
    madvise(address, ControlPage::SIZE, MADV_DONTFORK);
    page_ = static_cast<ControlPage*>(address);
    busErrors_.guard(page_, ControlPage::SIZE, nullptr, nullptr);
    return true;
}

void SlotBarrier::unmap() noexcept
{
    busErrors_.forget();
    munmap(page_, ControlPage::SIZE);
    page_ = nullptr;
}

SlotBarrier::Page SlotBarrier::findPage()
{
    const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
    folderPath_ = SlotFolder::pathFor(lockPath_);
    const SlotFolder folder(folderPath_);
    if (isNoFolder(folder.error())) {
        return Page::Missing;
    }
    if (!folder.isOpen()) {
        fail("cannot open " + folderPath_, folder.error());
    }
    if (!folder.isCoherent()) {
        isClear_ = true;
        return Page::OfNoUse;
    }
    struct stat status {};
    const Process::Descriptor file = folder.openFile(SlotFolder::CONTROL, O_RDWR, status);
    if (file.isOpen()) {
        return usePage(folder, file, status);
    }
    const int error = errno;
    if (error != ENOENT && error != ELOOP) {
        fail("cannot write " + folderPath_ + '/' + SlotFolder::CONTROL, error);
    }
    if (error == ELOOP) {
        unlinkat(folder.descriptor(), SlotFolder::CONTROL, 0); // something else, which nobody can use
    }
    return Page::Missing;
}

SlotBarrier::Page SlotBarrier::usePage(const SlotFolder& folder, const Process::Descriptor& file,
                                       const struct stat& status)
{
    const bool isWhole = status.st_size >= static_cast<off_t>(ControlPage::SIZE);
    if (isWhole && !map(file)) {
        fail("cannot map " + folderPath_ + '/' + SlotFolder::CONTROL, errno);
    }
    if (isWhole && page_->magic == ControlPage::MAGIC && page_->version != SLOT_FORMAT_VERSION) {
        const std::uint32_t version = page_->version;
        unmap();
        throw LockFileError(folderPath_ + '/' + SlotFolder::CONTROL + " is of version " +
                            std::to_string(version));
    }
    if (isWhole) {
        odd_ = makeOdd(*page_);
        if (page_->isSound() && status.st_size == static_cast<off_t>(ControlPage::SIZE)) {
            pageFile_ = FileIdentity(status);
            return Page::Raised;
        }
        // Damaged; readers that still rely on it take the kernel lock from now on.
        unmap();
    }
    if (unlinkat(folder.descriptor(), SlotFolder::CONTROL, 0) != 0 && errno != ENOENT) {
        fail("cannot remove the damaged " + folderPath_ + '/' + SlotFolder::CONTROL, errno);
    }
    return Page::Missing;
}

/// False: there can be none, or there is one already, which is not replaced.
bool SlotBarrier::makePage()
{
    const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
    SlotFolder folder(folderPath_);
    if (folder.error() == ENOENT && makeFolder()) {
        folder = SlotFolder(folderPath_);
    }
    if (!folder.isOpen() || !folder.isCoherent()) {
        return false;
    }
    const Process::Descriptor file = folder.unnamedFile(ControlPage::SIZE);
    struct stat status {};
    if (!file.isOpen() || fstat(file.get(), &status) != 0 || !takeAfter(file.get(), lockPath_, 0666) ||
        !map(file)) {
        return false;
    }
    page_->magic = ControlPage::MAGIC;
    page_->version = SLOT_FORMAT_VERSION;
    odd_ = firstWrites() + 1;
    page_->writes.store(odd_);
    pageFile_ = FileIdentity(status);
    if (!folder.giveName(file, SlotFolder::CONTROL)) {
        unmap();
        return false;
    }
    return true;
}

/// Under another name first, so that it never appears with the wrong permissions.
bool SlotBarrier::makeFolder() const
{
    const std::string unfinished = folderPath_ + ".new";
    const bool isMade = mkdir(unfinished.c_str(), 0700) == 0;
    if (!isMade && errno != EEXIST) {
        return false;
    }
    // What was there already may be anybody's, and keeps its permissions.
    if (isMade && fchmodat(AT_FDCWD, unfinished.c_str(), 0700, AT_SYMLINK_NOFOLLOW) != 0) {
        // Then with what the umask has left to the owner.
    }
    const SlotFolder folder(unfinished);
    return folder.isOpen() && takeAfter(folder.descriptor(), parentOf(folderPath_), PERMISSIONS) &&
           rename(unfinished.c_str(), folderPath_.c_str()) == 0;
}

/// Whether the process of that file is not inside.
bool SlotBarrier::isOut(const SlotFolder& folder, const std::string& reader) const
{
    struct stat status {};
    const Process::Descriptor file = folder.openFile(reader.c_str(), O_RDONLY, status);
    if (!file.isOpen()) {
        if (errno != ENOENT && errno != ELOOP) {
            fail("cannot read " + folderPath_ + '/' + reader, errno);
        }
        return true; // its process has removed it, or it never was one
    }
    if (!isAlive(file)) {
        unlinkat(folder.descriptor(), reader.c_str(), 0);
        return true;
    }
    const Slots slots = slotsOf(file);
    // The file was truncated or overwritten: its process makes another one at its next check.
    return slots == Slots::Lowered || (slots == Slots::NotWhole && hasWaitedForOthersToLook());
}

} // namespace Tessara::Keepsafe::Platform::filelock
