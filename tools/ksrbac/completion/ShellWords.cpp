#include "completion/ShellWords.h"

#include <algorithm>
#include <utility>

namespace ksrbac {

namespace {

constexpr std::string_view BLANKS = " \t\n";
/// Begin another command when they are not quoted.
constexpr std::string_view SEPARATORS = "|&;(";
/// The line editor's word begins behind these, as bash sets it up.
constexpr std::string_view EDITOR_BREAKS = "><=:@";
constexpr std::string_view ESCAPED_IN_DOUBLE_QUOTES = "$`\"\\";

bool isIn(std::string_view set, char c) { return set.find(c) != std::string_view::npos; }

bool needsQuotes(const std::string& text)
{
    return text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._/,+") !=
           std::string::npos;
}

std::string escapedIn(char quote, const std::string& text)
{
    std::string out;
    for (const char c : text) {
        if (quote == '\'') {
            out += c == '\'' ? "'\\''" : std::string(1, c);
        } else {
            out += (isIn(ESCAPED_IN_DOUBLE_QUOTES, c) ? "\\" : "") + std::string(1, c);
        }
    }
    return out;
}

/// Takes a line of the shell apart, byte by byte.
class Splitter {
public:
    enum class Bounds {
        Words, ///< blanks and the separators of commands end words
        None,  ///< all of it is one word
    };
    explicit Splitter(Bounds bounds) : isOneWord_(bounds == Bounds::None) {}

    void add(char c)
    {
        words_.endsWithQuote = false;
        if (isEscaped_) {
            isEscaped_ = false;
            append(words_.openQuote == '"' && !isIn(ESCAPED_IN_DOUBLE_QUOTES, c) ? std::string("\\") + c
                                                                                 : std::string(1, c));
        } else if (words_.openQuote != '\0') {
            addQuoted(c);
        } else {
            addUnquoted(c);
        }
    }

    ShellWords take() && { return std::move(words_); }

private:
    void append(const std::string& text)
    {
        words_.current += text;
        isStarted_ = true;
    }

    void addQuoted(char c)
    {
        if (c == words_.openQuote) {
            words_.openQuote = '\0';
            words_.endsWithQuote = true;
            words_.replaced = replacedBeforeQuote_;
        } else if (c == '\\' && words_.openQuote == '"') {
            isEscaped_ = true;
        } else {
            append(std::string(1, c));
        }
    }

    void addUnquoted(char c)
    {
        if (!isOneWord_ && isIn(BLANKS, c)) {
            endWord();
        } else if (!isOneWord_ && isIn(SEPARATORS, c)) {
            words_ = ShellWords();
            isStarted_ = false;
        } else if (c == '\\') {
            isEscaped_ = true;
        } else if (c == '\'' || c == '"') {
            words_.openQuote = c;
            replacedBeforeQuote_ = words_.replaced;
            words_.replaced = words_.current.size();
            isStarted_ = true;
        } else {
            append(std::string(1, c));
            if (isIn(EDITOR_BREAKS, c)) {
                words_.replaced = words_.current.size();
            }
        }
    }

    void endWord()
    {
        if (isStarted_) {
            words_.before.push_back(std::exchange(words_.current, {}));
        }
        words_.replaced = 0;
        isStarted_ = false;
    }

    const bool isOneWord_;
    ShellWords words_;
    std::size_t replacedBeforeQuote_ = 0;
    bool isStarted_ = false; ///< an empty pair of quotes is a word, too
    bool isEscaped_ = false;
};

} // namespace

ShellWords ShellWords::ofBashLine(std::string_view line)
{
    Splitter splitter(Splitter::Bounds::Words);
    std::for_each(line.begin(), line.end(), [&splitter](char c) { splitter.add(c); });
    return std::move(splitter).take();
}

ShellWords ShellWords::ofWords(std::vector<std::string> words, bool hasQuotes)
{
    ShellWords result;
    if (words.empty()) {
        return result;
    }
    result.current = std::exchange(words.back(), {});
    words.pop_back();
    if (hasQuotes) {
        Splitter splitter(Splitter::Bounds::None);
        std::for_each(result.current.begin(), result.current.end(), [&splitter](char c) { splitter.add(c); });
        result = std::move(splitter).take();
    }
    result.before = std::move(words);
    return result;
}

std::string ShellWords::forBash(const std::string& text) const
{
    const std::string rest = text.substr(std::min(replaced, text.size()));
    if (openQuote != '\0') {
        return escapedIn(openQuote, rest); // the line editor closes the quote
    }
    return needsQuotes(rest) ? '\'' + escapedIn('\'', rest) + '\'' : rest;
}

} // namespace ksrbac
