#include "key_depth.h"

namespace Tessara::Keepsafe::Platform {
namespace {

/// Walks through the tokens of a TOML text as far as they matter for dotted keys. Where the text is not TOML,
/// the parser stops, and what the walk finds behind that place does not matter.
class KeyWalk {
public:
    explicit KeyWalk(std::string_view text) noexcept : text_(text) {}

    bool findDeepKey(TextPlace& place) noexcept
    {
        while (at_ < text_.size()) {
            if (skipString() || skipComment()) {
                continue;
            }
            count(text_[at_]);
            if (dots_ >= MOST_KEY_PARTS) {
                place = {line_, at_ - lineBegin_ + 1};
                return true;
            }
            step();
        }
        return false;
    }

private:
    [[nodiscard]] bool startsWith(std::string_view token) const noexcept
    {
        return text_.substr(at_, token.size()) == token;
    }

    void step() noexcept
    {
        if (text_[at_] == '\n') {
            ++line_;
            lineBegin_ = at_ + 1;
        }
        ++at_;
    }

    /// A key ends at each mark that cannot be in one.
    void count(char character) noexcept
    {
        if (character == '.') {
            ++dots_;
        } else if (std::string_view("\n=,[]{}").find(character) != std::string_view::npos) {
            dots_ = 0;
        }
    }

    bool skipComment() noexcept
    {
        if (text_[at_] != '#') {
            return false;
        }
        while (at_ < text_.size() && text_[at_] != '\n') {
            ++at_;
        }
        return true;
    }

    /// A quoted part of a key, or a value.
    bool skipString() noexcept
    {
        for (const std::string_view quote : {R"(""")", "'''", R"(")", "'"}) {
            if (startsWith(quote)) {
                at_ += quote.size();
                skipToEnd(quote);
                return true;
            }
        }
        return false;
    }

    void skipToEnd(std::string_view quote) noexcept
    {
        const bool hasEscapes = quote.front() == '"';
        while (at_ < text_.size() && !startsWith(quote)) {
            if (text_[at_] == '\n' && quote.size() == 1) {
                return; // not closed
            }
            if (text_[at_] == '\\' && hasEscapes && at_ + 1 < text_.size()) {
                step();
            }
            step();
        }
        at_ += at_ < text_.size() ? quote.size() : 0;
        // Up to two quotes in front of the three at the end belong to the text.
        for (int more = 0; more < 2 && quote.size() == 3 && startsWith(quote.substr(0, 1)); ++more) {
            ++at_;
        }
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::size_t line_ = 1;
    std::size_t lineBegin_ = 0;
    std::size_t dots_ = 0;
};

} // namespace

bool hasDeepKey(std::string_view text, TextPlace& place) { return KeyWalk(text).findDeepKey(place); }

} // namespace Tessara::Keepsafe::Platform
