#ifndef KEEPSAFE_CACHE_RECYCLED_STORAGE_H
#define KEEPSAFE_CACHE_RECYCLED_STORAGE_H

#include <cstddef>
#include <new>

namespace Tessara::Keepsafe::Rbac {

/// Memory for one object at a time of a size that a thread needs again and again: what was given back last is
/// handed out next, without a call of the allocator. Each thread keeps one block of each size.
template <std::size_t SIZE>
class RecycledBlock {
public:
    static void* take()
    {
        void* const block = kept_;
        kept_ = nullptr;
        return block != nullptr ? block : ::operator new(SIZE);
    }

    static void giveBack(void* block) noexcept
    {
        if (kept_ == nullptr && keep()) {
            kept_ = block;
        } else {
            ::operator delete(block);
        }
    }

private:
    /// Frees the block when the thread ends; what is given back after that is not kept.
    struct Release {
        ~Release()
        {
            ended_ = true;
            ::operator delete(kept_);
            kept_ = nullptr;
        }
        void isNeeded() const noexcept {} ///< the first use makes it
    };

    static bool keep() noexcept
    {
        if (!ended_) {
            static thread_local const Release atEnd;
            atEnd.isNeeded();
        }
        return !ended_;
    }

    static thread_local void* kept_;
    static thread_local bool ended_;
};

template <std::size_t SIZE>
thread_local void* RecycledBlock<SIZE>::kept_ = nullptr;
template <std::size_t SIZE>
thread_local bool RecycledBlock<SIZE>::ended_ = false;

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
