#include "SlotBarrier.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ForkRegistry.h"
#include "LockFile.h"
#include "reader_marks.h"

namespace Tessara::Keepsafe::Platform::filelock {

namespace {

constexpr char NEW_PAGE[] = "control.new";
constexpr mode_t PERMISSIONS = 07777;
constexpr int MOST_REPLACEMENTS = 16;
constexpr std::chrono::microseconds PAUSE{500};

/// Whether a folder could not be opened because there is none, or something else in its place.
bool isNoFolder(int error) noexcept { return error == ENOENT || error == ENOTDIR || error == ELOOP; }

[[noreturn]] void fail(const std::string& what, int error)
{
    throw LockFileError(what + ": " + SystemErrorText(error).text());
}

/// Whether the path stands for that very file.
bool isAt(const std::string& path, const FileIdentity& file) noexcept
{
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && FileIdentity(status) == file;
}

/// Gives `made` the owner, group and permissions of the file that it stands beside, less what they would mean
/// for another owner or group.
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
std::uint64_t firstWrites() noexcept
{
    std::uint64_t random = 0;
    while (getrandom(&random, sizeof random, 0) != sizeof random) {
    }
    return std::max<std::uint64_t>(random / 4 * 2, 2);
}

/// Whether a living process has the file mapped.
bool isAlive(const System::Descriptor& file) noexcept
{
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_len = 1;
    return fcntl(file.get(), F_OFD_GETLK, &lock) != 0 || lock.l_type != F_UNLCK;
}

/// Whether no slot of the file is raised. A file that is not whole counts as raised: what its process does is
/// not known. The kernel reads from the very memory that the process has mapped.
bool allLowered(const System::Descriptor& file)
{
    SlotFileHeader header;
    if (pread(file.get(), &header, sizeof header, 0) != sizeof header || !header.isSound()) {
        return false;
    }
    std::size_t left = std::min<std::size_t>(header.used.load(), SlotFile::SLOTS);
    std::array<ReaderSlot, 32> slots;
    for (off_t offset = sizeof header; left > 0; offset += sizeof slots) {
        const std::size_t count = std::min(left, slots.size());
        const std::size_t bytes = count * sizeof(ReaderSlot);
        if (pread(file.get(), slots.data(), bytes, offset) != static_cast<ssize_t>(bytes) ||
            std::any_of(slots.data(), slots.data() + count,
                        [](const ReaderSlot& slot) { return ReaderSlot::isRaised(slot.word.load()); })) {
            return false;
        }
        left -= count;
    }
    return true;
}

/// Makes the count odd: one more than it was, or, where a writer died with it odd, another odd number, by
/// which that writer would notice that it was taken for dead. Returns it.
std::uint64_t makeOdd(ControlPage& page) noexcept
{
    std::uint64_t writes = page.writes.load();
    std::uint64_t odd = 0;
    do {
        odd = writes + (writes % 2 == 0 ? 1 : 2);
    } while (!page.writes.compare_exchange_weak(writes, odd));
    return odd;
}

void sleepFor(Clock::duration length) noexcept
{
    const Clock::time_point end = Clock::now() + length;
    while (Clock::now() < end) {
        sleepOnce(end - Clock::now());
    }
}

} // namespace

SlotBarrier::SlotBarrier(const std::string& lockPath, const LockSettings& settings)
    : settings_(settings), lockPath_(lockPath), folderPath_(SlotFolder::pathFor(lockPath))
{
}

SlotBarrier::~SlotBarrier() { lower(); }

void SlotBarrier::raise()
{
    for (int replaced = 0; replaced < MOST_REPLACEMENTS; ++replaced) {
        lower();
        if (tryRaise()) {
            return;
        }
    }
    throw LockFileError(folderPath_ + " is replaced again and again");
}

void SlotBarrier::raiseEarly()
{
    lower();
    const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
    const SlotFolder folder(folderPath_);
    struct stat status {};
    const System::Descriptor file = folder.isOpen() && folder.isCoherent()
                                        ? folder.openFile(SlotFolder::CONTROL, O_RDWR, status)
                                        : System::Descriptor();
    if (!file.isOpen() || status.st_size != static_cast<off_t>(ControlPage::SIZE) || !map(file)) {
        return;
    }
    if (!page_->isSound()) {
        unmap();
        return;
    }
    odd_ = makeOdd(*page_);
    pageFile_ = FileIdentity(status);
    hasBeenRaised(folder);
}

void SlotBarrier::hasBeenRaised(const SlotFolder& folder)
{
    struct stat status {};
    if (fstat(folder.descriptor(), &status) == 0) {
        folder_ = FileIdentity(status);
    }
    raisedAt_ = Clock::now();
    inside_ = folder.readers();
    clear_ = false;
    raised_ = true;
}

/// False: the folder has been removed or replaced meanwhile.
bool SlotBarrier::tryRaise()
{
    bool othersMayRelyOnAnotherPage = false;
    {
        const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
        othersMayRelyOnAnotherPage = findOrMakePage() == Page::IsNew;
    }
    if (othersMayRelyOnAnotherPage) {
        sleepFor(settings_.newPageWait);
    }
    if (page_ == nullptr) {
        raised_ = true; // against nobody
        return true;
    }
    return lookForReaders();
}

bool SlotBarrier::lookForReaders()
{
    const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
    const SlotFolder folder(folderPath_);
    if (isNoFolder(folder.error())) {
        return false;
    }
    if (!folder.isOpen()) {
        fail("cannot open " + folderPath_, folder.error());
    }
    hasBeenRaised(folder);
    return true;
}

bool SlotBarrier::isInForce() const noexcept
{
    // Readers follow no link to a folder or a page either.
    return raised_ && (page_ == nullptr || (page_->writes.load() == odd_ && isAt(folderPath_, folder_) &&
                                            isAt(folderPath_ + '/' + SlotFolder::CONTROL, pageFile_)));
}

bool SlotBarrier::isClear()
{
    while (page_ != nullptr && !clear_) {
        if (!listedReadersHaveLeft()) {
            return false;
        }
        if (!clear_) {
            sleepOnce(PAUSE); // some moments, and not a matter of the timeout
        }
    }
    return true;
}

bool SlotBarrier::listedReadersHaveLeft()
{
    const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
    const SlotFolder folder(folderPath_);
    if (!folder.isOpen() && !isNoFolder(folder.error())) {
        fail("cannot open " + folderPath_, folder.error());
    }
    if (!folder.isOpen()) {
        inside_.clear(); // and the barrier is not in force
    }
    inside_.erase(
        std::remove_if(inside_.begin(), inside_.end(),
                       [&](const SlotFolder::Reader& reader) { return isOut(folder, reader.name); }),
        inside_.end());
    clear_ = inside_.empty() && !(folder.isOpen() && anyMayBeInsideWithoutFile(folder));
    return inside_.empty();
}

/// Somebody has removed files of readers. Such a reader makes another one when it next looks at the path, and
/// what it held before the barrier was raised, it holds for some moments only.
bool SlotBarrier::anyMayBeInsideWithoutFile(const SlotFolder& folder) const
{
    if (Clock::now() - raisedAt_ >= settings_.newPageWait) {
        return false;
    }
    struct stat status {};
    const System::Descriptor control = folder.openFile(SlotFolder::CONTROL, O_RDONLY, status);
    return control.isOpen() && hasUnlistedReader(control, folder.readers());
}

void SlotBarrier::lower() noexcept
{
    raised_ = false;
    if (page_ != nullptr) {
        // Another number is that of another writer: this one has lost its lock.
        page_->writes.compare_exchange_strong(odd_, odd_ + 1);
        unmap();
    }
}

bool SlotBarrier::map(const System::Descriptor& file) noexcept
{
    void* const address = mmap(nullptr, ControlPage::SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (address == MAP_FAILED) {
        return false;
    }
    madvise(address, ControlPage::SIZE, MADV_DONTFORK);
    page_ = static_cast<ControlPage*>(address);
    busErrors_.guard(page_, ControlPage::SIZE, nullptr);
    return true;
}

void SlotBarrier::unmap() noexcept
{
    busErrors_.forget();
    munmap(page_, ControlPage::SIZE);
    page_ = nullptr;
}

void SlotBarrier::forgetInChild() noexcept
{
    busErrors_.forget();
    raised_ = false;
    page_ = nullptr;
}

SlotBarrier::Page SlotBarrier::findOrMakePage()
{
    SlotFolder folder(folderPath_);
    if (!folder.isOpen() && !openOrMakeFolder(folder)) {
        return Page::IsNew; // there may have been one a moment ago
    }
    if (!folder.isCoherent()) {
        return Page::IsUnused;
    }
    struct stat status {};
    const System::Descriptor file = folder.openFile(SlotFolder::CONTROL, O_RDWR, status);
    if (file.isOpen()) {
        return usePage(folder, file, status);
    }
    const int error = errno;
    if (error != ENOENT && error != ELOOP) {
        fail("cannot write " + folderPath_ + '/' + SlotFolder::CONTROL, error);
    }
    // Without a page nobody has slots; with something else in its place nobody else can make one either.
    static_cast<void>(makePage(folder));
    return Page::IsNew;
}

/// False: there is none, and none can be made. Then readers do not go there either.
bool SlotBarrier::openOrMakeFolder(SlotFolder& folder) const
{
    if (folder.error() == ENOENT && makeFolder()) {
        folder = SlotFolder(folderPath_);
    }
    if (!folder.isOpen() && !isNoFolder(folder.error())) {
        fail("cannot open " + folderPath_, folder.error());
    }
    return folder.isOpen();
}

SlotBarrier::Page SlotBarrier::usePage(const SlotFolder& folder, const System::Descriptor& file,
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
            return Page::IsKnown;
        }
        // Damaged; whoever still relies on it goes to the kernel lock from now on.
        unmap();
    }
    if (!makePage(folder)) {
        fail("cannot replace the damaged " + folderPath_ + '/' + SlotFolder::CONTROL, errno);
    }
    return Page::IsNew;
}

/// Under another name first, so that nobody finds it half made.
bool SlotBarrier::makePage(const SlotFolder& folder)
{
    unlinkat(folder.descriptor(), NEW_PAGE, 0);
    const System::Descriptor file(
        openat(folder.descriptor(), NEW_PAGE, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file.isOpen() || !takeAfter(file.get(), lockPath_, 0666) ||
        fallocate(file.get(), 0, 0, ControlPage::SIZE) != 0) {
        return false;
    }
    if (!map(file)) {
        return false;
    }
    page_->magic = ControlPage::MAGIC;
    page_->version = SLOT_FORMAT_VERSION;
    odd_ = firstWrites() + 1;
    page_->writes.store(odd_);
    struct stat status {};
    if (fstat(file.get(), &status) != 0 ||
        renameat(folder.descriptor(), NEW_PAGE, folder.descriptor(), SlotFolder::CONTROL) != 0) {
        unmap();
        return false;
    }
    pageFile_ = FileIdentity(status);
    return true;
}

/// Under another name first, so that it never stands there with other permissions than it should have.
bool SlotBarrier::makeFolder() const
{
    const std::string unfinished = folderPath_ + ".new";
    if (mkdir(unfinished.c_str(), 0700) != 0 && errno != EEXIST) {
        return false;
    }
    const SlotFolder folder(unfinished);
    return folder.isOpen() && takeAfter(folder.descriptor(), parentOf(lockPath_), PERMISSIONS) &&
           rename(unfinished.c_str(), folderPath_.c_str()) == 0;
}

/// Whether the process of that file is not inside.
bool SlotBarrier::isOut(const SlotFolder& folder, const std::string& reader) const
{
    struct stat status {};
    const System::Descriptor file = folder.openFile(reader.c_str(), O_RDONLY, status);
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
    return allLowered(file);
}

} // namespace Tessara::Keepsafe::Platform::filelock
