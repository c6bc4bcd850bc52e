#include "registration/Work.h"

namespace ksrbac {

std::string Work::doFor(const Tessara::Keepsafe::Rbac::ObjectNamespace& object) const
{
    return program_ ? program_->run(std::string(OBJECT_VARIABLE) + '=' + object.str(), signals_)
                    : interruption();
}

std::string Work::interruption() const
{
    const int signal = signals_.caught();
    return signal == 0 ? "" : "interrupted by signal " + std::to_string(signal);
}

} // namespace ksrbac
