#ifndef KSRBAC_CLI_TEXT_LAYOUT_H
#define KSRBAC_CLI_TEXT_LAYOUT_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

/// \file Text in lines of a terminal. Every text counts one column for each byte: help is ASCII.

namespace ksrbac {

/// The words of a paragraph in lines that begin with `indent` blanks and have at most `width` columns, unless
/// one word alone has more. Each line ends with a line feed; none for a text without words.
std::string wrapped(const std::string& text, std::size_t indent, std::size_t width);

/// The paragraphs of a text, with empty lines between them: each is wrapped as above. A paragraph with a line
/// that begins with blanks keeps its lines as they are.
std::string wrappedParagraphs(const std::string& text, std::size_t indent, std::size_t width);

/// A name, and what there is to say about it in a column of its own, which begins at `column`; on a line of
/// its own if the name is too long for it.
std::string inColumns(const std::string& name, const std::string& text, std::size_t column,
                      std::size_t width);

/// A description of a command as it is written in the source: its first line, its paragraphs, and the exit
/// statuses of the paragraph that begins with "Exit status:", each with its meaning.
struct Description {
    explicit Description(const std::string& text);

    std::string summary;
    std::string body;
    std::vector<std::pair<std::string, std::string>> exitStatuses;
};

} // namespace ksrbac

#endif
