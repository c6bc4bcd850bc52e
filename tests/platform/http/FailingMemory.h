#ifndef KEEPSAFE_TESTS_PLATFORM_HTTP_FAILINGMEMORY_H
#define KEEPSAFE_TESTS_PLATFORM_HTTP_FAILINGMEMORY_H

namespace keepsafe_test {

enum class MemoryOf { Cpp, Libcurl };

/// Makes one allocation of this thread fail while it lives: the one of the number, from 0 on, among those of
/// C++ code or those of libcurl.
class FailingMemory {
public:
    FailingMemory(MemoryOf whose, int number);
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    /// Whether there was such an allocation.
    [[nodiscard]] static bool happened();
};

/// Lets libcurl take its memory from here. To be called before anything else uses libcurl.
void provideMemoryForLibcurl();

} // namespace keepsafe_test

#endif
