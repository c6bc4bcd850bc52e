#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <sys/time.h>
#include <unistd.h>

#include <keepsafe/platform/config/installation.h>

#include "cli/options.h"
#include "commands/commands.h"
#include "completion/Completion.h"
#include "log/SilencedLog.h"
#include "output/escape.h"

namespace ksrbac {

namespace {

constexpr char DESCRIPTION[] =
    R"(Tell a shell what may stand at the cursor.

For the completion scripts of bash, zsh and fish. After "--": the line up to the
cursor for bash; for the others the words up to the cursor, for fish the last of
them with its quotes. Prints one line that says what the shell itself has to offer (words,
files, directories or programs), and then one candidate a line, except for bash
with a tab and a description. Takes at most a second, and never fails: what
cannot be found out is left out.

Exit status: 0 always.)";

constexpr char EXAMPLE[] = R"(Example:
  ksrbac complete bash -- 'ksrbac check --operation ')";

struct Options {
    std::string shell;
    std::vector<std::string> words;
};

/// Ends the process after a second: whatever the work waits for, a person at a keyboard does not wait longer.
class TimeBound {
public:
    TimeBound()
    {
        struct sigaction action = {};
        action.sa_handler = [](int) { _exit(0); };
        (void)sigaction(SIGALRM, &action, &before_);
        start(1);
    }
    TimeBound(const TimeBound&) = delete;
    TimeBound& operator=(const TimeBound&) = delete;
    ~TimeBound()
    {
        start(0);
        (void)sigaction(SIGALRM, &before_, nullptr);
    }

private:
    static void start(time_t seconds) noexcept
    {
        const itimerval bound{{0, 0}, {seconds, 0}};
        (void)setitimer(ITIMER_REAL, &bound, nullptr);
    }

    struct sigaction before_ = {};
};

std::string withHome(const std::string& path)
{
    const char* home = std::getenv("HOME"); // NOLINT(concurrency-mt-unsafe): nothing changes the environment
    const bool isBelowHome = home != nullptr && (path == "~" || path.compare(0, 2, "~/") == 0);
    return isBelowHome ? home + path.substr(1) : path;
}

ShellWords wordsOf(const Options& options)
{
    if (options.words.empty()) {
        return {};
    }
    if (options.shell == "bash") {
        return ShellWords::ofBashLine(options.words.front());
    }
    return ShellWords::ofWords(options.words, options.shell == "fish");
}

const char* nameOf(Completion::Also also)
{
    switch (also) {
    case Completion::Also::Files:
        return "files";
    case Completion::Also::Directories:
        return "directories";
    case Completion::Also::Programs:
        return "programs";
    case Completion::Also::Nothing:
        break;
    }
    return "words";
}

/// Descriptions come from the service as well.
std::string line(const Candidate& candidate, const ShellWords& words, bool isForBash)
{
    if (isForBash) {
        return words.forBash(candidate.text) + '\n';
    }
    return candidate.text +
           (candidate.description.empty() ? "" : '\t' + escapeForMessage(candidate.description)) + '\n';
}

void complete(const Options& options, Console& console)
{
    const TimeBound bound;
    const SilencedLog silence;
    const ShellWords words = wordsOf(options);
    const Question question = understand(words, commandTable());
    if (question.root && !question.root->empty()) {
        Tessara::Keepsafe::Platform::setInstallationRoot(
            std::filesystem::absolute(withHome(*question.root)).lexically_normal().string());
    }
    const Completion completion = answer(question);
    console.print(std::string(nameOf(completion.also)) + '\n');
    // A word that already ended has nothing to continue.
    for (const Candidate& candidate :
         words.endsWithQuote ? std::vector<Candidate>() : completion.candidates) {
        console.print(line(candidate, words, options.shell == "bash"));
    }
}

ExitStatus run(const Options& options, Console& console)
{
    try {
        complete(options, console);
    } catch (const OutputError&) {
        throw;
    } catch (const std::exception&) {
        return ExitStatus::Good; // nobody asked for a message
    }
    return ExitStatus::Good;
}

} // namespace

Action addComplete(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addRequired(command, "SHELL", options->shell, "bash|zsh|fish", "The shell that asks");
    Action action{[options](bool /*json*/, Console& console) { return run(*options, console); },
                  [options] { return &options->words; }};
    action.usesInstallation = false;
    return action;
}

} // namespace ksrbac
