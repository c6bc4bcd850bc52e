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

using namespace keepsafe_sandbox;

std::string documentOf(const CLI::App& program, const std::string& kind)
{
    if (kind == "manual") {
        return manualPage(program, KEEPSAFE_VERSION);
    }
    if (kind == "bash") {
        return bashCompletion(program);
    }
    return kind == "zsh" ? zshCompletion(program) : kind == "fish" ? fishCompletion(program) : "";
}

} // namespace

int main(int argc, char** argv)
try {
    const std::string name = argc == 3 ? argv[1] : "";
    DaemonOptions options;
    std::unique_ptr<CLI::App> program;
    if (name == "ksrbacd") {
        program = daemonCommandLine(options, KEEPSAFE_VERSION);
    } else if (name == "ksrbac-sandbox") {
        program = sandboxCommandLine(KEEPSAFE_VERSION);
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
