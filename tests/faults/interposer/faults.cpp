#include "faults/interposer/faults.h"

#include <atomic>

namespace keepsafe_test {

namespace {

std::atomic<bool> armed{false};
std::atomic<bool> happened{false};
std::atomic<unsigned> calls{0};
std::atomic<unsigned> runs{0};
CallKind victim = CallKind::Memory;
unsigned failing = 0;
Repeat repeating = Repeat::Once;

} // namespace

const char* nameOf(CallKind kind) noexcept
{
    constexpr std::array<const char*, ALL_CALL_KINDS.size()> names{
        "memory", "open", "mmap",   "status", "fcntl",   "read", "write",   "pwrite",
        "grow",   "sync", "rename", "mkdir",  "connect", "send", "receive", "ODBC"};
    return names[static_cast<std::size_t>(kind)];
}

void armFault(CallKind kind, unsigned number, Repeat repeat) noexcept
{
    victim = kind;
    failing = number;
    repeating = repeat;
    calls = 0;
    ++runs;
    happened = false;
    armed = true;
}

void disarmFault() noexcept { armed = false; }

bool faultHappened() noexcept { return happened; }

bool isArmed(CallKind kind) noexcept { return armed && kind == victim; }

unsigned numberOfRun() noexcept { return runs; }

bool mustFail(CallKind kind) noexcept
{
    if (!isArmed(kind)) {
        return false;
    }
    const unsigned number = calls++;
    const bool fails = number == failing || (number > failing && repeating == Repeat::FromThenOn);
    if (fails) {
        happened = true;
    }
    return fails;
}

} // namespace keepsafe_test
