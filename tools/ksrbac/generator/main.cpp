#include <cstdio>
#include <exception>
#include <string>

#include "generator/bash_completion.h"
#include "generator/manual_sections.h"

// Prints, from the tool's own option tree, what is installed beside it:
//   ksrbac-describe completion    the completion script for bash
//   ksrbac-describe manual        the sections that help2man puts into the manual page

int main(int argc, char** argv)
{
    try {
        const std::string what = argc == 2 ? argv[1] : "";
        if (what != "completion" && what != "manual") {
            (void)std::fputs("usage: ksrbac-describe completion|manual\n", stderr);
            return 2;
        }
        const std::string text = what == "completion" ? ksrbac::bashCompletion() : ksrbac::manualSections();
        const bool isWritten = std::fputs(text.c_str(), stdout) != EOF && std::fflush(stdout) == 0;
        return isWritten ? 0 : 1;
    } catch (const std::exception& error) {
        (void)std::fprintf(stderr, "ksrbac-describe: %s\n", error.what());
        return 1;
    }
}
