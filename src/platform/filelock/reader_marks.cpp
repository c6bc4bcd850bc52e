#include "reader_marks.h"

#include <algorithm>
#include <limits>
#include <utility>

#include <fcntl.h>

#include "LockFile.h"

namespace Tessara::Keepsafe::Platform::filelock {

namespace {

constexpr off_t LAST = std::numeric_limits<off_t>::max();

off_t markOf(ino_t file) noexcept { return static_cast<off_t>(file) & LAST; }

off_t lengthOf(off_t first, off_t last) noexcept { return last == LAST ? 0 : last - first + 1; }

} // namespace

bool markReader(const Process::Descriptor& control, ino_t file) noexcept
{
    const off_t mark = markOf(file);
    return requestLock(control.get(), F_OFD_SETLK, F_RDLCK, mark, lengthOf(mark, mark)) ==
           LockFile::Outcome::Done;
}

bool hasUnlistedReader(const Process::Descriptor& control, const std::vector<SlotFolder::Reader>& listed)
{
    // The system reports one lock in a range, whichever it finds first; the ranges on both sides of it remain
    // to be queried.
    std::vector<std::pair<off_t, off_t>> ranges{{0, LAST}};
    while (!ranges.empty()) {
        const auto [first, last] = ranges.back();
        ranges.pop_back();
        struct flock found {};
        if (requestLock(control.get(), F_OFD_GETLK, F_WRLCK, first, lengthOf(first, last), &found) !=
                LockFile::Outcome::Done ||
            found.l_type == F_UNLCK) {
            continue;
        }
        const off_t mark = found.l_start;
        if (found.l_len != 1 && mark != LAST) {
            return true; // no mark, and marks may lie under it
        }
        if (std::none_of(listed.begin(), listed.end(),
                         [&](const SlotFolder::Reader& reader) { return markOf(reader.inode) == mark; })) {
            return true;
        }
        if (mark > first) {
            ranges.emplace_back(first, mark - 1);
        }
        if (mark < last) {
            ranges.emplace_back(mark + 1, last);
        }
    }
    return false;
}

} // namespace Tessara::Keepsafe::Platform::filelock
