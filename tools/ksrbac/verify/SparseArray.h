#ifndef KSRBAC_VERIFY_SPARSEARRAY_H
#define KSRBAC_VERIFY_SPARSEARRAY_H

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace ksrbac {

/// An array that needs memory only around the elements that were set: a file may claim billions of records
/// and use few. References are offsets of 32 bits, so there are never more elements than those can reach.
template <typename T>
class SparseArray {
public:
    /// Zero when it was never set.
    [[nodiscard]] T get(std::size_t index) const noexcept
    {
        const std::size_t block = index / BLOCK;
        return block < blocks_.size() && blocks_[block] != nullptr ? (*blocks_[block])[index % BLOCK] : T{};
    }

    void set(std::size_t index, const T& value)
    {
        const std::size_t block = index / BLOCK;
        if (block >= blocks_.size()) {
            blocks_.resize(block + 1);
        }
        if (blocks_[block] == nullptr) {
            blocks_[block] = std::make_unique<Block>();
        }
        (*blocks_[block])[index % BLOCK] = value;
    }

    /// Calls `visit(index, value)` for the elements of all blocks in which one was set.
    template <typename Visit>
    void forEach(const Visit& visit) const
    {
        for (std::size_t block = 0; block < blocks_.size(); ++block) {
            for (std::size_t i = 0; blocks_[block] != nullptr && i < BLOCK; ++i) {
                visit(block * BLOCK + i, (*blocks_[block])[i]);
            }
        }
    }

private:
    static constexpr std::size_t BLOCK = 1024;
    using Block = std::array<T, BLOCK>;

    std::vector<std::unique_ptr<Block>> blocks_;
};

} // namespace ksrbac

#endif
