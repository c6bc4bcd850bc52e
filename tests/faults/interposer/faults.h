#ifndef KEEPSAFE_TESTS_FAULTS_INTERPOSER_FAULTS_H
#define KEEPSAFE_TESTS_FAULTS_INTERPOSER_FAULTS_H

#include <array>

/// \file
/// A program that links the library `keepsafe_fault_interposer` before all others gets the library's
/// functions in place of those of the C library and of the ODBC driver manager, for its own calls and for
/// those of every library in it. They count calls of any thread, and let one fail, or all from one on.

namespace keepsafe_test {

enum class CallKind {
    Memory,      ///< malloc and its like, so operator new, too; not that of ODBC and of the C library itself
    Open,        ///< files, folders and duplicates of descriptors
    Map,         ///< mmap
    FileStatus,  ///< stat, fstat and fstatfs
    FileControl, ///< locks by fcntl
    Read,        ///< read, pread and fread
    Write,       ///< write
    WriteAt,     ///< pwrite; half of the bytes are written
    Grow,        ///< posix_fallocate, ftruncate
    Sync,        ///< fsync, fdatasync
    Rename,      ///< rename, link
    Folder,      ///< mkdir
    Connect,     ///< socket, connect
    Send,        ///< send, sendto, sendmsg
    Receive,     ///< recv, recvfrom, recvmsg
    Odbc         ///< every function of ODBC; those that release something do so and then report an error
};

constexpr std::array<CallKind, 16> ALL_CALL_KINDS{
    CallKind::Memory,      CallKind::Open, CallKind::Map,     CallKind::FileStatus,
    CallKind::FileControl, CallKind::Read, CallKind::Write,   CallKind::WriteAt,
    CallKind::Grow,        CallKind::Sync, CallKind::Rename,  CallKind::Folder,
    CallKind::Connect,     CallKind::Send, CallKind::Receive, CallKind::Odbc};

const char* nameOf(CallKind kind) noexcept;

enum class Repeat { Once, FromThenOn };

/// Lets the call of that number fail, from 0 on; it starts counting.
void armFault(CallKind kind, unsigned number, Repeat repeat) noexcept;
/// Nothing fails any more.
void disarmFault() noexcept;
/// Whether a call has failed since `armFault`.
[[nodiscard]] bool faultHappened() noexcept;

/// For the functions of the library: whether calls of the kind count, and the number of the last `armFault`,
/// from 1 on.
[[nodiscard]] bool isArmed(CallKind kind) noexcept;
[[nodiscard]] unsigned numberOfRun() noexcept;
/// Counts a call, and says whether it has to fail.
[[nodiscard]] bool mustFail(CallKind kind) noexcept;

} // namespace keepsafe_test

#endif
