#ifndef KEEPSAFE_TESTS_SYSTEM_KSRBAC_COMPLETED_WORDS_H
#define KEEPSAFE_TESTS_SYSTEM_KSRBAC_COMPLETED_WORDS_H

#include <string>
#include <vector>

#include "support/Process.h"
#include "support/PseudoTerminal.h"

namespace keepsafe_test {

/// A shell that a person types into.
struct Shell {
    const char* name;
    std::vector<std::string> arguments;
    /// Loads the scripts and makes the shell as plain as it can be. Ends with the prompt "READY> ", which
    /// what is typed does not hold in this form.
    std::string setUp;
};

/// zsh with the completion scripts of a folder.
inline Shell zshWith(const std::string& scripts)
{
    return {"zsh",
            {"zsh", "-f", "-i"},
            "bindkey -e; setopt nobeep; fpath=(" + scripts +
                " $fpath); autoload -U compinit; compinit -D -u; PS1='REA''DY> '"};
}

/// The words behind `last` that the shell passes to the command of the line after the key for completion, as
/// in "<a><b>". `programs` is where the command is.
inline std::string completedWords(const Shell& shell, const std::string& programs, const std::string& home,
                                  const std::string& line, const std::string& last)
{
    PseudoTerminal terminal;
    std::vector<std::string> arguments{
        "env",      "PATH=" + programs + ":/usr/bin:/bin", "TERM=xterm", "HOME=" + home, "LC_ALL=C.UTF-8",
        "HISTFILE="};
    arguments.insert(arguments.end(), shell.arguments.begin(), shell.arguments.end());
    const Process process = terminal.start(arguments);
    terminal.type(shell.setUp + "\r");
    (void)terminal.shownUntil("READY> ");
    // The completed line becomes the arguments of another command, which shows them.
    terminal.type(line + "\t\x05 ; echo EN''D\x01printf '<%s>\\n' \r");
    std::string shown = terminal.shownUntil("END");
    const std::string begin = "<" + last + ">\r\n";
    const std::size_t at = shown.rfind(begin);
    if (at == std::string::npos) {
        return shown;
    }
    const std::string words = shown.substr(at + begin.size(), shown.rfind("END") - at - begin.size());
    std::string plain;
    for (const char c : words) {
        plain += c == '\r' || c == '\n' ? "" : std::string(1, c);
    }
    return plain;
}

} // namespace keepsafe_test

#endif
