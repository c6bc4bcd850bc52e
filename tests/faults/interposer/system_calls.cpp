// Functions of the C library, with its names. None of its headers that declare them is included: they give
// some of them other types, attributes or bodies. What a caller passes beside the named arguments is passed
// on.

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <dlfcn.h>
#include <link.h>
#include <linux/fcntl.h>
#include <sys/syscall.h>

#include "faults/interposer/faults.h"

namespace {

using keepsafe_test::CallKind;
using keepsafe_test::mustFail;
using Size = std::size_t;
using Offset = long;

bool fails(CallKind kind, int error) noexcept
{
    if (!mustFail(kind)) {
        return false;
    }
    errno = error;
    return true;
}

/// What mmap returns when it fails.
void* const NO_MAPPING = reinterpret_cast<void*>(std::intptr_t{-1}); // NOLINT(performance-no-int-to-ptr)

} // namespace

// The function of that name in the library behind this one.
#define NEXT(name) reinterpret_cast<decltype(&(name))>(dlsym(RTLD_NEXT, #name))

// A function that returns `failure` when it has to fail.
#define INTERPOSE(kind, error, failure, result, name, parameters, arguments)                                 \
    extern "C" result name parameters                                                                        \
    {                                                                                                        \
        static const auto next = NEXT(name);                                                                 \
        return fails(CallKind::kind, error) ? (failure) : next arguments;                                    \
    }

namespace {

/// Whose memory it is, by the code that asks for it.
enum class Owner { Project, Jansson, Excluded };

/// Excluded is what ends the process when memory runs out in it, which is known and not the project's doing:
/// the ODBC driver manager and drivers, and functions of the C library on their behalf.
Owner ownerOf(void* caller) noexcept
{
    dl_find_object found{};
    if (_dl_find_object(caller, &found) != 0 || found.dlfo_link_map == nullptr) {
        return Owner::Project;
    }
    const char* const library = found.dlfo_link_map->l_name;
    for (const char* const excluded : {"odbc", "sqlite", "libc.so", "ld-linux", "libltdl"}) {
        if (std::strstr(library, excluded) != nullptr) {
            return Owner::Excluded;
        }
    }
    return std::strstr(library, "jansson") != nullptr ? Owner::Jansson : Owner::Project;
}

/// Jansson's parser (2.14) leaves out a character, and says nothing, when the buffer of a token cannot grow
/// in one moment and can in the next. So it gets no more memory at all.
thread_local unsigned janssonFailedIn = 0;

bool memoryFails(void* caller) noexcept
{
    if (!keepsafe_test::isArmed(CallKind::Memory)) {
        return false;
    }
    const Owner owner = ownerOf(caller);
    if (owner == Owner::Excluded) {
        return false;
    }
    const unsigned run = keepsafe_test::numberOfRun();
    if (owner == Owner::Jansson && janssonFailedIn == run) {
        errno = ENOMEM;
        return true;
    }
    const bool failed = fails(CallKind::Memory, ENOMEM);
    if (failed && owner == Owner::Jansson) {
        janssonFailedIn = run;
    }
    return failed;
}

} // namespace

#define MEMORY_FAILS() memoryFails(__builtin_return_address(0))

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the C library's names
void* __libc_malloc(Size);
void* __libc_calloc(Size, Size);
void* __libc_realloc(void*, Size);
void* __libc_memalign(Size, Size);
// NOLINTEND(bugprone-reserved-identifier)

void* malloc(Size size) { return MEMORY_FAILS() ? nullptr : __libc_malloc(size); }
void* calloc(Size count, Size size) { return MEMORY_FAILS() ? nullptr : __libc_calloc(count, size); }
void* realloc(void* memory, Size size) { return MEMORY_FAILS() ? nullptr : __libc_realloc(memory, size); }
void* memalign(Size alignment, Size size)
{
    return MEMORY_FAILS() ? nullptr : __libc_memalign(alignment, size);
}
void* aligned_alloc(Size alignment, Size size)
{
    return MEMORY_FAILS() ? nullptr : __libc_memalign(alignment, size);
}
int posix_memalign(void** memory, Size alignment, Size size)
{
    void* const found = MEMORY_FAILS() ? nullptr : __libc_memalign(alignment, size);
    if (found == nullptr) {
        return ENOMEM;
    }
    *memory = found;
    return 0;
}
}

INTERPOSE(Open, EMFILE, -1, int, open, (const char* path, int flags, unsigned mode), (path, flags, mode))
INTERPOSE(Open, EMFILE, -1, int, open64, (const char* path, int flags, unsigned mode), (path, flags, mode))
INTERPOSE(Open, EMFILE, -1, int, openat, (int folder, const char* path, int flags, unsigned mode),
          (folder, path, flags, mode))
INTERPOSE(Open, EMFILE, -1, int, openat64, (int folder, const char* path, int flags, unsigned mode),
          (folder, path, flags, mode))
INTERPOSE(Open, EMFILE, -1, int, __open_2, (const char* path, int flags), (path, flags))
INTERPOSE(Open, EMFILE, -1, int, __open64_2, (const char* path, int flags), (path, flags))
INTERPOSE(Open, EMFILE, nullptr, void*, fopen, (const char* path, const char* mode), (path, mode))
INTERPOSE(Open, EMFILE, nullptr, void*, fopen64, (const char* path, const char* mode), (path, mode))
INTERPOSE(Open, EMFILE, nullptr, void*, opendir, (const char* path), (path))
INTERPOSE(Open, EMFILE, nullptr, void*, fdopendir, (int folder), (folder))
INTERPOSE(Open, EMFILE, -1, int, mkostemp, (char* pattern, int flags), (pattern, flags))
INTERPOSE(Open, EMFILE, -1, int, mkostemp64, (char* pattern, int flags), (pattern, flags))
INTERPOSE(Open, EMFILE, -1, int, dup3, (int file, int as, int flags), (file, as, flags))

INTERPOSE(Map, ENOMEM, NO_MAPPING, void*, mmap,
          (void* address, Size size, int protection, int flags, int file, Offset offset),
          (address, size, protection, flags, file, offset))
INTERPOSE(Map, ENOMEM, NO_MAPPING, void*, mmap64,
          (void* address, Size size, int protection, int flags, int file, Offset offset),
          (address, size, protection, flags, file, offset))

INTERPOSE(FileStatus, EIO, -1, int, stat, (const char* path, void* status), (path, status))
INTERPOSE(FileStatus, EIO, -1, int, stat64, (const char* path, void* status), (path, status))
INTERPOSE(FileStatus, EIO, -1, int, lstat, (const char* path, void* status), (path, status))
INTERPOSE(FileStatus, EIO, -1, int, fstat, (int file, void* status), (file, status))
INTERPOSE(FileStatus, EIO, -1, int, fstat64, (int file, void* status), (file, status))
INTERPOSE(FileStatus, EIO, -1, int, fstatat, (int folder, const char* path, void* status, int flags),
          (folder, path, status, flags))
INTERPOSE(FileStatus, EIO, -1, int, fstatfs, (int file, void* status), (file, status))
INTERPOSE(FileStatus, EIO, -1, int, fstatfs64, (int file, void* status), (file, status))

namespace {

/// Only locks: the other commands cannot fail on an open descriptor. Not those of SQLite, which takes every
/// failure for a lock that is held, and waits.
bool controlFails(int command, void* caller) noexcept
{
    const bool isLock = command == F_SETLK || command == F_SETLKW || command == F_GETLK ||
                        command == F_OFD_SETLK || command == F_OFD_SETLKW || command == F_OFD_GETLK;
    return isLock && ownerOf(caller) != Owner::Excluded && fails(CallKind::FileControl, ENOLCK);
}

} // namespace

#define INTERPOSE_CONTROL(name)                                                                              \
    extern "C" int name(int file, int command, long argument)                                                \
    {                                                                                                        \
        static const auto next = NEXT(name);                                                                 \
        return controlFails(command, __builtin_return_address(0)) ? -1 : next(file, command, argument);      \
    }
INTERPOSE_CONTROL(fcntl)
INTERPOSE_CONTROL(fcntl64)

INTERPOSE(Read, EIO, -1, Offset, read, (int file, void* bytes, Size size), (file, bytes, size))
INTERPOSE(Read, EIO, -1, Offset, __read_chk, (int file, void* bytes, Size size, Size room),
          (file, bytes, size, room))
INTERPOSE(Read, EIO, -1, Offset, pread, (int file, void* bytes, Size size, Offset offset),
          (file, bytes, size, offset))
INTERPOSE(Read, EIO, -1, Offset, pread64, (int file, void* bytes, Size size, Offset offset),
          (file, bytes, size, offset))
INTERPOSE(Read, EIO, 0, Size, fread, (void* bytes, Size size, Size count, void* stream),
          (bytes, size, count, stream))

INTERPOSE(Write, ENOSPC, -1, Offset, write, (int file, const void* bytes, Size size), (file, bytes, size))
INTERPOSE(WriteAt, ENOSPC, (next(file, bytes, size / 2, offset), errno = ENOSPC, -1), Offset, pwrite,
          (int file, const void* bytes, Size size, Offset offset), (file, bytes, size, offset))
INTERPOSE(WriteAt, ENOSPC, (next(file, bytes, size / 2, offset), errno = ENOSPC, -1), Offset, pwrite64,
          (int file, const void* bytes, Size size, Offset offset), (file, bytes, size, offset))
INTERPOSE(Grow, ENOSPC, ENOSPC, int, posix_fallocate, (int file, Offset offset, Offset size),
          (file, offset, size))
INTERPOSE(Grow, ENOSPC, ENOSPC, int, posix_fallocate64, (int file, Offset offset, Offset size),
          (file, offset, size))
INTERPOSE(Grow, EIO, -1, int, ftruncate, (int file, Offset size), (file, size))
INTERPOSE(Grow, EIO, -1, int, ftruncate64, (int file, Offset size), (file, size))
INTERPOSE(Sync, EIO, -1, int, fsync, (int file), (file))
INTERPOSE(Sync, EIO, -1, int, fdatasync, (int file), (file))
INTERPOSE(Rename, EIO, -1, int, rename, (const char* from, const char* to), (from, to))
INTERPOSE(Rename, EIO, -1, int, link, (const char* from, const char* to), (from, to))
INTERPOSE(Folder, EIO, -1, int, mkdir, (const char* path, unsigned mode), (path, mode))
INTERPOSE(Folder, EIO, -1, int, mkdirat, (int folder, const char* path, unsigned mode), (folder, path, mode))

INTERPOSE(Connect, EMFILE, -1, int, socket, (int family, int type, int protocol), (family, type, protocol))
INTERPOSE(Connect, ECONNREFUSED, -1, int, connect, (int socket, const void* address, unsigned size),
          (socket, address, size))
INTERPOSE(Send, EPIPE, -1, Offset, send, (int socket, const void* bytes, Size size, int flags),
          (socket, bytes, size, flags))
INTERPOSE(Send, EPIPE, -1, Offset, sendto,
          (int socket, const void* bytes, Size size, int flags, const void* address, unsigned addressSize),
          (socket, bytes, size, flags, address, addressSize))
INTERPOSE(Send, EPIPE, -1, Offset, sendmsg, (int socket, const void* message, int flags),
          (socket, message, flags))
INTERPOSE(Receive, ECONNRESET, -1, Offset, recv, (int socket, void* bytes, Size size, int flags),
          (socket, bytes, size, flags))
INTERPOSE(Receive, ECONNRESET, -1, Offset, __recv_chk,
          (int socket, void* bytes, Size size, Size room, int flags), (socket, bytes, size, room, flags))
INTERPOSE(Receive, ECONNRESET, -1, Offset, recvfrom,
          (int socket, void* bytes, Size size, int flags, void* address, unsigned* addressSize),
          (socket, bytes, size, flags, address, addressSize))
INTERPOSE(Receive, ECONNRESET, -1, Offset, recvmsg, (int socket, void* message, int flags),
          (socket, message, flags))

extern "C" long syscall(long number, long a, long b, long c, long d, long e, long f)
{
    static const auto next = NEXT(syscall);
    const bool failed = (number == SYS_fstat && fails(CallKind::FileStatus, EIO)) ||
                        (number == SYS_mmap && fails(CallKind::Map, ENOMEM));
    return failed ? -1 : next(number, a, b, c, d, e, f);
}
