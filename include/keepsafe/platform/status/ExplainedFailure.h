#ifndef KEEPSAFE_PLATFORM_STATUS_EXPLAINEDFAILURE_H
#define KEEPSAFE_PLATFORM_STATUS_EXPLAINEDFAILURE_H

#include <memory>
#include <string>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/platform/status/EC_exception.h>

namespace Tessara::Keepsafe {

/// A status exception that also knows what went wrong in this case: which file, which answer. `what()` is the
/// text of the status code, as for every `EC_exception`. Copies share their texts and do not throw.
class KEEPSAFE_API ExplainedFailure : public EC_exception {
public:
    ExplainedFailure(int status, std::string reason);
    ExplainedFailure(const ExplainedFailure&) = default;
    ExplainedFailure& operator=(const ExplainedFailure&) = default;
    ~ExplainedFailure() override;

    /// In words for an operator; may be empty. It can hold text that a server sent: escape control characters
    /// before you print it.
    [[nodiscard]] const std::string& reason() const noexcept { return *reason_; }

private:
    std::shared_ptr<const std::string> reason_;
};

} // namespace Tessara::Keepsafe

#endif
