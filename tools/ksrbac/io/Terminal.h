#ifndef KSRBAC_IO_TERMINAL_H
#define KSRBAC_IO_TERMINAL_H

#include <cstddef>
#include <string>

namespace ksrbac {

/// What --color says.
enum class ColourChoice {
    Auto,   ///< where a person looks at it
    Always, ///< also in files and pipes
    Never,
};

/// What is known about the terminals behind the standard descriptors. The only place that decides who is
/// looking: colours, progress and the width of lines depend on it.
struct Terminal {
    static constexpr std::size_t USUAL_WIDTH = 80;

    bool showsResults = false;       ///< standard output is a terminal
    bool showsMessages = false;      ///< standard error is a terminal
    bool canMove = false;            ///< standard error is one whose lines can be written over
    bool areColoursWelcome = false;  ///< it knows colours, and NO_COLOR is not set
    std::size_t width = USUAL_WIDTH; ///< columns of the terminal behind standard output

    /// That of this process. NO_COLOR and TERM count as the environment has them now.
    static Terminal ofProcess();

    [[nodiscard]] bool hasColouredResults(ColourChoice choice) const noexcept
    {
        return isColoured(choice, showsResults);
    }
    [[nodiscard]] bool hasColouredMessages(ColourChoice choice) const noexcept
    {
        return isColoured(choice, showsMessages);
    }

private:
    [[nodiscard]] bool isColoured(ColourChoice choice, bool isTerminal) const noexcept
    {
        return choice == ColourChoice::Always ||
               (choice == ColourChoice::Auto && isTerminal && areColoursWelcome);
    }
};

enum class Colour { Good, Bad, Attention };

/// The text in the colour: with escape sequences around it.
std::string coloured(const std::string& text, Colour colour);

} // namespace ksrbac

#endif
