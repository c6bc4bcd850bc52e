#ifndef KEEPSAFE_TESTS_SYSTEM_DOCUMENTS_TRANSCRIPT_H
#define KEEPSAFE_TESTS_SYSTEM_DOCUMENTS_TRANSCRIPT_H

#include <string>
#include <vector>

namespace keepsafe_test {

/// A command that a document shows behind "$ ", and what it shows below it.
struct Exchange {
    std::string command;
    std::string output;
};

/// The exchanges of a document in Markdown, in their order: those in the code blocks that begin with "$ ".
std::vector<Exchange> exchangesIn(const std::string& document);

/// The code blocks of a language: what stands between "```LANGUAGE" and "```".
std::vector<std::string> codeBlocksIn(const std::string& document, const std::string& language);

} // namespace keepsafe_test

#endif
