#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_REFUSEDCALL_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_REFUSEDCALL_H

#include <functional>
#include <string>
#include <utility>

namespace keepsafe_test {

/// The system refuses one call of a function while this object lives. One at a time, and one thread.
class RefusedCall {
public:
    /// The call of that number fails with that error, which is not 0.
    RefusedCall(std::string function, int error, int number = 1)
        : function_(std::move(function)), error_(error), number_(number)
    {
        current() = this;
    }
    /// The call is made, but something happens right before it.
    RefusedCall(std::string function, int number, std::function<void()> before)
        : function_(std::move(function)), number_(number), before_(std::move(before))
    {
        current() = this;
    }
    ~RefusedCall() { current() = nullptr; }
    RefusedCall(const RefusedCall&) = delete;
    RefusedCall& operator=(const RefusedCall&) = delete;

    [[nodiscard]] bool hasCome() const noexcept { return number_ <= 0; }

    /// What the stand-ins ask: the error of this call, or 0.
    static int errorOf(const char* function)
    {
        RefusedCall* const refused = current();
        if (refused == nullptr || refused->function_ != function || --refused->number_ != 0) {
            return 0;
        }
        if (refused->before_) {
            refused->before_();
        }
        return refused->error_;
    }

private:
    static RefusedCall*& current() noexcept
    {
        static RefusedCall* refused = nullptr;
        return refused;
    }

    std::string function_;
    int error_ = 0;
    int number_;
    std::function<void()> before_;
};

} // namespace keepsafe_test

#endif
