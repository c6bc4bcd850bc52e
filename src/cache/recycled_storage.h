#ifndef KEEPSAFE_CACHE_RECYCLED_STORAGE_H
#define KEEPSAFE_CACHE_RECYCLED_STORAGE_H

#include <cstddef>
#include <new>
#include <utility>

namespace Tessara::Keepsafe::Rbac {

/// Memory for objects of a size that a thread needs repeatedly, one at a time: a released block is reused
/// without calling the allocator. Each thread keeps one block of each size until it ends.
template <std::size_t SIZE>
class RecycledBlock {
public:
    static void* take()
    {
        Kept& kept = ofThisThread;
        return kept.block != nullptr ? std::exchange(kept.block, nullptr) : ::operator new(SIZE);
    }

    static void giveBack(void* block) noexcept
    {
        Kept& kept = ofThisThread;
        if (kept.block == nullptr && (kept.isReleasedAtEnd || releaseAtEnd(kept))) {
            kept.block = block;
        } else {
            ::operator delete(block);
        }
    }

private:
    struct Kept {
        void* block;
        bool isReleasedAtEnd; ///< when the thread ends
        bool threadHasEnded;  ///< nothing is kept any more
    };

    struct Release {
        ~Release() { ::operator delete(std::exchange(ofThisThread, {nullptr, false, true}).block); }
        void isNeeded() const noexcept {} ///< the first use makes it
    };

    static bool releaseAtEnd(Kept& kept) noexcept
    {
        if (!kept.threadHasEnded) {
            static thread_local const Release atEnd;
            atEnd.isNeeded();
            kept.isReleasedAtEnd = true;
        }
        return kept.isReleasedAtEnd;
    }

    // Used by every lock of a cache: this model makes the access a load instead of a call, at the cost of
    // some bytes of the memory that the loader reserves for libraries that are loaded later.
    static __thread Kept ofThisThread __attribute__((tls_model("initial-exec")));
};

template <std::size_t SIZE>
__thread typename RecycledBlock<SIZE>::Kept RecycledBlock<SIZE>::ofThisThread = {};

/// For containers and pointers that allocate one `T` at a time.
template <typename T>
struct RecyclingAllocator {
    using value_type = T;

    RecyclingAllocator() = default;
    template <typename Other>
    RecyclingAllocator(
        const RecyclingAllocator<Other>& /*other*/) noexcept // NOLINT(google-explicit-constructor)
    {
    }

    T* allocate(std::size_t count)
    {
        return static_cast<T*>(count == 1 ? RecycledBlock<sizeof(T)>::take()
                                          : ::operator new(count * sizeof(T)));
    }
    void deallocate(T* memory, std::size_t count) noexcept
    {
        if (count == 1) {
            RecycledBlock<sizeof(T)>::giveBack(memory);
        } else {
            ::operator delete(memory);
        }
    }

    template <typename Other>
    friend bool operator==(const RecyclingAllocator& /*left*/,
                           const RecyclingAllocator<Other>& /*right*/) noexcept
    {
        return true;
    }
    template <typename Other>
    friend bool operator!=(const RecyclingAllocator& /*left*/,
                           const RecyclingAllocator<Other>& /*right*/) noexcept
    {
        return false;
    }
};

} // namespace Tessara::Keepsafe::Rbac

#endif
