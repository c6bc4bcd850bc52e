#ifndef KSRBAC_COMPLETION_COMPLETION_H
#define KSRBAC_COMPLETION_COMPLETION_H

#include <optional>
#include <string>
#include <vector>

#include "cli/Command.h"
#include "completion/ShellWords.h"

namespace ksrbac {

/// A word that may stand at the cursor.
struct Candidate {
    std::string text;
    std::string description; ///< may be empty
};

/// What may stand at the cursor.
struct Completion {
    /// What the shell itself has to offer beside the candidates.
    enum class Also { Nothing, Files, Directories, Programs };

    std::vector<Candidate> candidates;
    Also also = Also::Nothing;
};

/// What is to be completed: the command line is understood up to the cursor.
struct Question {
    std::string kind;                 ///< the name of the value, as in the help; empty: words to choose from
    std::vector<Candidate> words;     ///< commands or options, if `kind` is empty
    std::string before;               ///< what of the word belongs to something else, such as `--roles=`
    std::string value;                ///< the rest of the word, up to the cursor
    std::optional<std::string> root;  ///< of --root
    std::optional<std::string> cache; ///< of --cache
};

/// Reads the words up to the cursor by the table of commands.
Question understand(const ShellWords& words, const CommandTable& commands);

/// The candidates for the question. Reads files under the installation root, and asks the service for roles.
/// Throws what the library throws.
Completion answer(const Question& question);

} // namespace ksrbac

#endif
