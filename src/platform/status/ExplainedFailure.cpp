#include <keepsafe/platform/status/ExplainedFailure.h>

#include <utility>

namespace Tessara::Keepsafe {

ExplainedFailure::ExplainedFailure(int status, std::string reason)
    : EC_exception(status), reason_(std::make_shared<const std::string>(std::move(reason)))
{
}

ExplainedFailure::~ExplainedFailure() = default;

} // namespace Tessara::Keepsafe
