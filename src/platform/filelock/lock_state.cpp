#include <keepsafe/platform/filelock/lock_state.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <keepsafe/platform/status/ExplainedFailure.h>
#include <keepsafe/platform/status/status_codes.h>

#include "LockFile.h"
#include "SlotFolder.h"
#include "lock_holders.h"
#include "reader_files.h"
#include "slot_files.h"

namespace Tessara::Keepsafe::Platform {

namespace {

using filelock::ControlPage;
using filelock::FileIdentity;
using filelock::LockFile;
using filelock::ReaderSlot;
using filelock::SlotFile;
using filelock::SlotFolder;
using Control = ReaderSlotsState::Control;
using Registration = ReaderSlotsState::Registration;

void examineControl(const SlotFolder& folder, ReaderSlotsState& state)
{
    struct stat status {};
    const Process::Descriptor file = folder.openFile(SlotFolder::CONTROL, O_RDONLY, status);
    if (!file.isOpen()) {
        state.control = errno == ENOENT ? Control::Missing : Control::Unusable;
        return;
    }
    ControlPage page{};
    const bool isSound = status.st_size == static_cast<off_t>(ControlPage::SIZE) &&
                         pread(file.get(), &page, sizeof page, 0) == sizeof page && page.isSound() &&
                         page.writes.load() != 0;
    state.control = isSound ? Control::Sound : Control::Unusable;
    state.isWriterAnnounced = isSound && page.writes.load() % 2 != 0;
}

/// The kernel reads from the same memory that the file's process has mapped.
void countSlots(const Process::Descriptor& file, ReaderSlotsState& state)
{
    const auto slots = std::make_unique<SlotFile>();
    if (pread(file.get(), slots.get(), sizeof *slots, 0) != sizeof *slots || !slots->header.isSound()) {
        ++state.unreadable;
        return;
    }
    const std::size_t used = std::min<std::size_t>(slots->header.used.load(), SlotFile::SLOTS);
    ++state.processes;
    state.slots += SlotFile::SLOTS;
    state.used += used;
    state.raised += static_cast<std::size_t>(
        std::count_if(slots->slots.begin(), slots->slots.begin() + static_cast<std::ptrdiff_t>(used),
                      [](const ReaderSlot& slot) { return ReaderSlot::isRaised(slot.word.load()); }));
}

void examineReaders(const SlotFolder& folder, ReaderSlotsState& state)
{
    for (const SlotFolder::Reader& reader : folder.readers()) {
        struct stat status {};
        const Process::Descriptor file = folder.openFile(reader.name.c_str(), O_RDONLY, status);
        if (!file.isOpen()) {
            state.unreadable += errno == ENOENT ? 0 : 1; // its process may just have ended
        } else if (filelock::isAlive(file)) {
            countSlots(file, state);
        } else {
            ++state.leftOver;
        }
    }
}

Registration registrationIn(const SlotFolder& folder, const ReaderSlotsState& state)
{
    if (state.control != Control::Sound) {
        return Registration::NothingToJoin;
    }
    if (!folder.isCoherent()) {
        return Registration::OtherFileSystem;
    }
    const bool mayCreate = faccessat(AT_FDCWD, state.folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
    return mayCreate ? Registration::Possible : Registration::NoPermission;
}

ReaderSlotsState examineSlots(const std::string& path)
{
    ReaderSlotsState state;
    state.folder = SlotFolder::pathFor(path);
    const SlotFolder folder(state.folder);
    if (!folder.isOpen()) {
        state.control = folder.error() == ENOENT ? Control::Missing : Control::Unusable;
        return state;
    }
    examineControl(folder, state);
    examineReaders(folder, state);
    state.registration = registrationIn(folder, state);
    return state;
}

FileLockState::Kernel kernelLock(LockFile& file)
{
    int type = F_UNLCK;
    if (file.askData(type) == LockFile::Outcome::Failed) {
        throw filelock::LockFileError(filelock::SystemErrorText(errno).text());
    }
    switch (type) {
    case F_WRLCK:
        return FileLockState::Kernel::Exclusive;
    case F_RDLCK:
        return FileLockState::Kernel::Shared;
    default:
        return FileLockState::Kernel::Free;
    }
}

FileLockState examine(const std::string& path)
{
    LockFile file;
    file.open(path, LockFile::Access::Read, false);
    FileLockState state;
    state.kernel = kernelLock(file);
    state.isGateShut = file.askGate() == LockFile::Outcome::Busy;
    struct stat status {};
    if (state.kernel == FileLockState::Kernel::Exclusive && ::stat(path.c_str(), &status) == 0) {
        state.writers = filelock::exclusiveHolders(FileIdentity(status));
    }
    state.slots = examineSlots(path);
    return state;
}

} // namespace

FileLockState fileLockState(const std::string& path)
try {
    return examine(path);
} catch (const filelock::LockFileError& error) {
    throw ExplainedFailure(Status::CACHE_UNUSABLE, path + ": " + error.what());
}

} // namespace Tessara::Keepsafe::Platform
