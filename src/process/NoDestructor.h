#ifndef KEEPSAFE_SRC_PROCESS_NODESTRUCTOR_H
#define KEEPSAFE_SRC_PROCESS_NODESTRUCTOR_H

#include <utility>

namespace Tessara::Keepsafe::Process {

/// A static object that is never destroyed: threads and destructors of other static objects may use it until
/// the process ends.
template <typename T>
class NoDestructor {
public:
    template <typename... Arguments>
    constexpr explicit NoDestructor(Arguments&&... arguments)
        : storage_(std::forward<Arguments>(arguments)...)
    {
    }
    NoDestructor(const NoDestructor&) = delete;
    NoDestructor& operator=(const NoDestructor&) = delete;

    T& operator*() noexcept { return storage_.value; }
    T* operator->() noexcept { return &storage_.value; }

private:
    union Storage {
        template <typename... Arguments>
        constexpr explicit Storage(Arguments&&... arguments) : value(std::forward<Arguments>(arguments)...)
        {
        }
        ~Storage() {} // NOLINT(modernize-use-equals-default): a defaulted one would be deleted
        T value;
    };
    Storage storage_;
};

} // namespace Tessara::Keepsafe::Process

#endif
