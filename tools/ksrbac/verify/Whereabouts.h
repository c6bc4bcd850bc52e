#ifndef KSRBAC_VERIFY_WHEREABOUTS_H
#define KSRBAC_VERIFY_WHEREABOUTS_H

#include <string>

namespace ksrbac {

/// Tells how the walk came to where it is now.
class Whereabouts {
public:
    Whereabouts() = default;
    Whereabouts(const Whereabouts&) = delete;
    Whereabouts& operator=(const Whereabouts&) = delete;
    virtual ~Whereabouts() = default;
    [[nodiscard]] virtual std::string reached() const = 0;
};

} // namespace ksrbac

#endif
