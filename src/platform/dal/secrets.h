#ifndef KEEPSAFE_SRC_PLATFORM_DAL_SECRETS_H
#define KEEPSAFE_SRC_PLATFORM_DAL_SECRETS_H

#include <string>
#include <vector>

namespace Tessara::Dal {

/// Keeps the secrets of a connection out of messages that a driver wrote.
class Secrets {
public:
    explicit Secrets(const std::string& connectionString);

    /// The message, or a note in its place if it repeats a secret. It is withheld as a whole: if only the
    /// secret were masked, a short secret could be guessed from the positions of the masks.
    [[nodiscard]] std::string checked(const std::string& message) const;

    /// Whether a text mentions a password or key, as a statement that sets one does.
    static bool mentions(const std::string& text);

private:
    std::vector<std::string> values_;
};

} // namespace Tessara::Dal

#endif
