#ifndef KSRBAC_COMPLETION_SHELLWORDS_H
#define KSRBAC_COMPLETION_SHELLWORDS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ksrbac {

/// The words of a command up to the cursor, as the shell would pass them: without their quotes.
struct ShellWords {
    /// From a line of bash, the command's name first. Of several commands on the line, the last.
    static ShellWords ofBashLine(std::string_view line);
    /// From words without quotes, the command's name first. In the last of them, which is the one at the
    /// cursor, there are quotes if `hasQuotes`; the last of them need not be closed.
    static ShellWords ofWords(std::vector<std::string> words, bool hasQuotes);

    /// How bash has to be told that the word at the cursor becomes `text`: in place of the part of it that
    /// its line editor replaces, and with the quotes that the open one or the text's own characters demand.
    [[nodiscard]] std::string forBash(const std::string& text) const;

    std::vector<std::string> before; ///< the words before the cursor's
    std::string current;             ///< the word that the cursor is behind; may be empty
    char openQuote = '\0';           ///< ' or " while one is open at the cursor
    /// Where the part of `current` begins that bash's line editor replaces: behind an open quote, or behind
    /// the last of the characters that end words for it.
    std::size_t replaced = 0;
    bool endsWithQuote = false; ///< a quoted part of `current` was closed right before the cursor
};

} // namespace ksrbac

#endif
