// Functions of the C library, with its names. None of its headers that declare them is included: they give
// some of them other attributes or bodies. What a caller passes beside the named arguments is passed on.

#include <cerrno>
#include <cstddef>
#include <string>

#include <dlfcn.h>

#include "RefusedCall.h"

namespace {

/// As the call does it that is not refused.
template <typename Result, typename... Arguments>
Result call(const char* key, const char* function, Result failure, Arguments... arguments)
{
    if (const int error = keepsafe_test::RefusedCall::errorOf(key)) {
        errno = error;
        return failure;
    }
    using Function = Result (*)(Arguments...);
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, function))(arguments...);
}

bool isSlotFolder(const std::string& path)
{
    const std::string suffix = ".readers";
    return path.size() >= suffix.size() &&
           path.compare(path.size() - suffix.size(), suffix.size(), suffix) == 0;
}

} // namespace

extern "C" {

int fchmod(int file, unsigned mode) { return call("fchmod", "fchmod", -1, file, mode); }
int fchown(int file, unsigned owner, unsigned group)
{
    return call("fchown", "fchown", -1, file, owner, group);
}
int fallocate(int file, int mode, long offset, long length)
{
    return call("fallocate", "fallocate", -1, file, mode, offset, length);
}
int fcntl(int file, int command, void* argument)
{
    return call("fcntl", "fcntl", -1, file, command, argument);
}
int fstat(int file, void* status) { return call("fstat", "fstat", -1, file, status); }
int fstatfs(int file, void* status) { return call("fstatfs", "fstatfs", -1, file, status); }
long getrandom(void* bytes, std::size_t size, unsigned flags)
{
    return call("getrandom", "getrandom", -1L, bytes, size, flags);
}
int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags)
{
    return call("linkat", "linkat", -1, fromFolder, from, toFolder, to, flags);
}
int mkdir(const char* path, unsigned mode) { return call("mkdir", "mkdir", -1, path, mode); }
int open(const char* path, int flags, unsigned mode)
{
    return call(isSlotFolder(path) ? "open folder" : "open", "open", -1, path, flags, mode);
}
int openat(int folder, const char* name, int flags, unsigned mode)
{
    return call("openat", "openat", -1, folder, name, flags, mode);
}
void* readdir(void* folder) { return call("readdir", "readdir", static_cast<void*>(nullptr), folder); }
int rename(const char* from, const char* to) { return call("rename", "rename", -1, from, to); }
int unlinkat(int folder, const char* name, int flags)
{
    return call("unlinkat", "unlinkat", -1, folder, name, flags);
}
/// Of files only: memory is got by it, too.
void* mmap(void* address, std::size_t size, int protection, int flags, int file, long offset)
{
    void* const failed = reinterpret_cast<void*>(-1L); // NOLINT(performance-no-int-to-ptr)
    return call(file < 0 ? "mmap memory" : "mmap", "mmap", failed, address, size, protection, flags, file,
                offset);
}

} // extern "C"
