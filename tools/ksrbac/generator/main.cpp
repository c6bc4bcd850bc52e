#include <cstdio>
#include <exception>
#include <string>

#include "generator/manual_sections.h"

// Prints, from the tool's own option tree, the sections that help2man puts into the manual page.

int main()
{
    try {
        const std::string text = ksrbac::manualSections();
        const bool isWritten = std::fputs(text.c_str(), stdout) != EOF && std::fflush(stdout) == 0;
        return isWritten ? 0 : 1;
    } catch (const std::exception& error) {
        (void)std::fprintf(stderr, "ksrbac-describe: %s\n", error.what());
        return 1;
    }
}
