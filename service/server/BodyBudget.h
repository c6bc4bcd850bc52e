#ifndef KEEPSAFE_SERVICE_SERVER_BODYBUDGET_H
#define KEEPSAFE_SERVICE_SERVER_BODYBUDGET_H

#include <atomic>
#include <cstddef>

namespace keepsafe_service {

/// The bytes that the bodies of all requests may have together, from their arrival until they are answered.
/// Any thread. Outlives its shares.
class BodyBudget {
public:
    explicit BodyBudget(std::size_t bytes) : left_(bytes) {}

    /// Takes all of them or none.
    [[nodiscard]] bool take(std::size_t bytes) noexcept
    {
        std::size_t left = left_.load();
        while (left >= bytes) {
            if (left_.compare_exchange_weak(left, left - bytes)) {
                return true;
            }
        }
        return false;
    }
    void giveBack(std::size_t bytes) noexcept { left_ += bytes; }
    [[nodiscard]] std::size_t left() const noexcept { return left_; }

private:
    std::atomic<std::size_t> left_;
};

/// What one connection has of the budget.
class BodyShare {
public:
    explicit BodyShare(BodyBudget& budget) : budget_(budget) {}
    ~BodyShare() { giveBack(); }
    BodyShare(const BodyShare&) = delete;
    BodyShare& operator=(const BodyShare&) = delete;

    /// For a body that has grown to this size. False when there is not enough left.
    [[nodiscard]] bool growTo(std::size_t bytes) noexcept
    {
        if (bytes > bytes_ && !budget_.take(bytes - bytes_)) {
            return false;
        }
        bytes_ = bytes > bytes_ ? bytes : bytes_;
        return true;
    }
    void giveBack() noexcept
    {
        budget_.giveBack(bytes_);
        bytes_ = 0;
    }

private:
    BodyBudget& budget_;
    std::size_t bytes_ = 0;
};

} // namespace keepsafe_service

#endif
