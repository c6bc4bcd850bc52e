#ifndef KSRBAC_VERIFY_FAULT_H
#define KSRBAC_VERIFY_FAULT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace ksrbac {

/// One thing that is wrong in a cache.
struct Fault {
    std::string file;     ///< name of the file within the cache directory
    std::uint64_t offset; ///< the byte of the file that is wrong
    std::string what;
    std::string reached; ///< how the walk came to the record; empty outside the trees
};

/// Counts all faults and keeps the first ones, so that a cache that is wrong in a million places costs no
/// memory for texts that nobody is shown.
class FaultList {
public:
    explicit FaultList(std::size_t limit) noexcept : limit_(limit) {}

    /// `make` returns the fault; it is only called for one that is kept.
    template <typename Make>
    void add(const Make& make)
    {
        if (kept_.size() < limit_) {
            kept_.push_back(make());
        }
        ++count_;
    }

    [[nodiscard]] std::size_t count() const noexcept { return count_; }
    [[nodiscard]] const std::vector<Fault>& kept() const noexcept { return kept_; }

private:
    std::size_t limit_;
    std::size_t count_ = 0;
    std::vector<Fault> kept_;
};

} // namespace ksrbac

#endif
