#include <exception>
#include <iostream>
#include <memory>
#include <string>

#include "commandline/documents.h"
#include "commands/command_line.h"
#include "daemon/DaemonOptions.h"

// Prints what is installed beside a program, made from its own options:
//   ksrbac-document ksrbacd|ksrbac-sandbox manual|bash|zsh|fish

namespace {

std::string documentOf(const CLI::App& program, const std::string& kind)
{
    if (kind == "manual") {
        return keepsafe_service::manualPage(program, KEEPSAFE_VERSION);
    }
    if (kind == "bash") {
        return keepsafe_service::bashCompletion(program);
    }
    return kind == "zsh"    ? keepsafe_service::zshCompletion(program)
           : kind == "fish" ? keepsafe_service::fishCompletion(program)
                            : "";
}

} // namespace

int main(int argc, char** argv)
try {
    const std::string name = argc == 3 ? argv[1] : "";
    keepsafe_service::DaemonOptions options;
    std::unique_ptr<CLI::App> program;
    if (name == "ksrbacd") {
        program = keepsafe_service::daemonCommandLine(options, KEEPSAFE_VERSION);
    } else if (name == "ksrbac-sandbox") {
        program = keepsafe_sandbox::sandboxCommandLine(KEEPSAFE_VERSION);
    }
    const std::string text = program == nullptr ? "" : documentOf(*program, argv[2]);
    if (text.empty()) {
        std::cerr << "usage: ksrbac-document ksrbacd|ksrbac-sandbox manual|bash|zsh|fish\n";
        return 2;
    }
    return std::cout << text << std::flush ? 0 : 1;
} catch (const std::exception& error) {
    std::cerr << "ksrbac-document: " << error.what() << '\n';
    return 1;
}
