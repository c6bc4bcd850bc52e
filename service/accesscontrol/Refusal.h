#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_REFUSAL_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_REFUSAL_H

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace keepsafe_service {

/// A request that the service refuses without changing anything. `what()` is meant for its sender.
class Refusal : public std::runtime_error {
public:
    enum Kind {
        Malformed, ///< not the expected document
        WrongType, ///< a resource of another type
        Invalid,   ///< a value that is not allowed
        Unknown,   ///< names something that does not exist
        Conflict   ///< conflicts with the current state: a name is taken, an object is already registered
    };

    /// `details`: one text for each fault.
    Refusal(Kind kind, const std::string& message, std::vector<std::string> details = {})
        : std::runtime_error(message), kind_(kind), details_(std::move(details))
    {
    }

    [[nodiscard]] Kind kind() const noexcept { return kind_; }
    [[nodiscard]] const std::vector<std::string>& details() const noexcept { return details_; }

private:
    Kind kind_;
    std::vector<std::string> details_;
};

} // namespace keepsafe_service

#endif
