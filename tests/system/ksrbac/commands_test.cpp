#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/platform/status/status_codes.h>

#include "KsrbacTest.h"
#include "support/Descriptor.h"

namespace keepsafe_test {
namespace {

class Operations : public KsrbacTest {};

TEST_F(Operations, AreListedByBit)
{
    const auto result = run({"operations"});
    EXPECT_EQ(result.output, "BIT  OPERATION\n"
                             "  3  |OPERATIONS|A+B|\n"
                             "  3  |OPERATIONS|VIEW|\n"
                             " 37  |OPERATIONS|ADD|\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.exitStatus, 0);
}

TEST_F(Operations, AreListedAsJson)
{
    writeFile(operationCache(), R"({"|B|": 2147483647, "|A%7c|": -1})");
    EXPECT_EQ(run({"operations", "--json"}).output, "{\"operation\":\"|A%7C|\",\"bit\":-1}\n"
                                                    "{\"operation\":\"|B|\",\"bit\":2147483647}\n");
}

TEST_F(Operations, MayBeNone)
{
    writeFile(operationCache(), "{}");
    EXPECT_EQ(run({"operations"}).output, "BIT  OPERATION\n");
    EXPECT_EQ(run({"operations", "--json"}).output, "");
}

TEST_F(Operations, AMissingOrMalformedFileIsStatusThirteen)
{
    const std::string message = "ksrbac: status 13: " + getECmsg(13) + " (Error loading operation cache: ";
    writeFile(operationCache(), "{");
    EXPECT_EQ(run({"operations"}).errors, message + "string or '}' expected near end of file)\n");
    std::filesystem::remove(operationCache());
    const auto result = run({"operations"});
    EXPECT_EQ(result.errors,
              message + "unable to open " + operationCache() + ": No such file or directory)\n");
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.exitStatus, 3);
}

TEST_F(Operations, AMalformedEntryIsAFailureThatNamesTheFile)
{
    for (const char* content : {R"({"|A|": 2147483648})", R"({"|A|": -2147483649})", R"({"A": 1})"}) {
        writeFile(operationCache(), content);
        const auto result = run({"operations"});
        EXPECT_EQ(result.errors.rfind("ksrbac: " + operationCache() + ": bad ", 0), 0) << result.errors;
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.exitStatus, 3);
    }
}

class CacheCommands : public KsrbacTest {};

TEST_F(CacheCommands, VerifyAndInfoTakeAnIdAndADirectory)
{
    for (const std::string& cache : {std::string("main"), cacheDirectory()}) {
        const auto verified = run({"cache", "verify", cache});
        EXPECT_EQ(verified.output,
                  "unreachable records: 0 of 2 objects, 0 of 6 segments, 0 of 6 nodes (0.0 %)\n" +
                      cacheDirectory() + ": no faults\n");
        EXPECT_EQ(verified.errors, "");
        EXPECT_EQ(verified.exitStatus, 0);
        const auto info = run({"cache", "info", cache});
        EXPECT_EQ(info.output.rfind(
                      "cache                " + cacheDirectory() + "\nnamespace            |KEEPSAFE|\n", 0),
                  0)
            << info.output;
        EXPECT_EQ(info.exitStatus, 0);
    }
}

TEST_F(CacheCommands, VerifyEndsWithOneWhenItFindsFaults)
{
    CacheWriter cache = cacheWriter();
    cache.metadata.segmentRoot = 1'000'000;
    cache.write(cacheDirectory());
    const auto result = run({"cache", "verify", "main"});
    EXPECT_EQ(result.output,
              "metadata, byte 28: root of the segments is 1000000, outside the 7 records of segments\n"
              "unreachable records: 2 of 2 objects, 6 of 6 segments, 6 of 6 nodes (100.0 %)\n" +
                  cacheDirectory() + ": 1 fault\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.exitStatus, 1);
}

TEST_F(CacheCommands, WhatCannotBeReadEndsWithTwo)
{
    for (const std::string command : {"verify", "info"}) {
        const auto missing = run({"cache", command, "other"});
        EXPECT_EQ(missing.errors, "ksrbac: cannot read the cache " + temp("access-caches/other") +
                                      ": No such file or directory\n");
        EXPECT_EQ(missing.output, "");
        EXPECT_EQ(missing.exitStatus, 2);
        EXPECT_EQ(run({"cache", command, ".."}).exitStatus, 2);
        EXPECT_EQ(run({"cache", command}).exitStatus, 2);
    }
}

TEST_F(CacheCommands, TheNumberOfFaultsIsANumber)
{
    for (const char* number : {"-1", "1.5", "x", "99999999999999999999999"}) {
        const auto result = run({"cache", "verify", "main", std::string("--max-faults=") + number});
        EXPECT_EQ(result.exitStatus, 2) << number;
        EXPECT_NE(result.errors.find("--max-faults"), std::string::npos) << result.errors;
    }
}

/// Whether the process has the file open.
bool hasOpen(pid_t pid, const std::string& path)
{
    std::error_code error;
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd", error)) {
        if (std::filesystem::read_symlink(entry.path(), error) == path) {
            return true;
        }
    }
    return false;
}

TEST_F(CacheCommands, VerifyWaitsForTheWriter)
{
    CacheWriter cache = cacheWriter();
    cache.metadata.writeInProgress = 1;
    cache.write(cacheDirectory());
    const std::string manifest = std::filesystem::canonical(cacheDirectory() + "/manifest.json").string();
    const FileLock lock = FileLockManager::instance().getLock(manifest);
    const Descriptor input = openFile("/dev/null", O_RDONLY);
    const Descriptor output = openFile(root_.path("output"), O_WRONLY | O_CREAT);
    boost::optional<FileLockGuard> writing;
    writing.emplace(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);
    Process program = Process::start({commandLine({"cache", "verify", "main"}), input.get(), output.get()});
    while (!hasOpen(program.pid(), manifest)) {
        std::this_thread::yield();
    }
    // The write comes to its end only now. A walk that had not waited would have seen the flag.
    Descriptor metadata = openFile(cacheDirectory() + "/metadata", O_WRONLY);
    ASSERT_EQ(pwrite(metadata.get(), "\0", 1, 20), 1);
    writing.reset();
    EXPECT_EQ(program.wait().exitStatus, 0) << readFile(root_.path("output"));
}

/// What a command does while a writer holds a lock.
class Behind : public KsrbacTest {
protected:
    Behind() : operations_(lockOf(operationCache() + ".lck", FileLock::MissingFile::IsCreated)) {}

    static FileLock lockOf(const std::string& path,
                           FileLock::MissingFile missing = FileLock::MissingFile::IsAnError)
    {
        return FileLockManager::instance().getLock(path, missing);
    }
    static std::unique_ptr<FileLockGuard> write(const FileLock& lock)
    {
        return std::make_unique<FileLockGuard>(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER,
                                               FileLock::DEFAULT_INTERVAL);
    }

    struct Waited {
        std::string line; ///< the first that it said
        int exitStatus;
    };
    /// Runs the command behind the lock until it says that it waits, then releases the lock.
    [[nodiscard]] Waited waitFor(const FileLock& lock, const std::vector<std::string>& command) const
    {
        auto writing = write(lock);
        Pipe errors;
        const Descriptor output = openFile("/dev/null", O_WRONLY);
        Process program =
            Process::start({commandLine(command), Command::INHERITED, output.get(), errors.writeEnd.get()});
        errors.writeEnd.close();
        const std::string line = readLine(errors.readEnd);
        writing.reset();
        return {line, program.wait().exitStatus};
    }

    const std::vector<std::vector<std::string>> readers_{
        {"check", "--cache=main", "--operation=|OPERATIONS|VIEW|", "--roles=17", "|KEEPSAFE|X|"},
        {"list", "--cache=main", "--operation=|OPERATIONS|VIEW|", "--roles=17"},
        {"who-can", "--cache=main", "|OPERATIONS|VIEW|", "|KEEPSAFE|X|"},
        {"what-can", "--cache=main", "--roles=17", "|KEEPSAFE|X|"},
        {"simulate", "--cache=main", "--inherit=|KEEPSAFE|CLOSED|=off"},
        {"cache", "info", "main"},
        {"cache", "verify", "main"},
        {"cache", "dump", "main"},
        {"cache", "diff", "main", "main"},
    };
    const FileLock cache_ = lockOf(cacheDirectory() + "/manifest.json");
    const FileLock operations_;
};

TEST_F(Behind, AWriterEveryReaderSaysWhatItWaitsForAndGoesOn)
{
    for (const auto& command : readers_) {
        const auto result = waitFor(cache_, command);
        EXPECT_EQ(result.line, "ksrbac: note: waiting for the writer of " + cacheDirectory()) << command[0];
        EXPECT_EQ(result.exitStatus, 0) << command[0];
    }
    const auto result = waitFor(operations_, {"operations"});
    EXPECT_EQ(result.line, "ksrbac: note: waiting for the writer of " + operationCache());
    EXPECT_EQ(result.exitStatus, 0);
}

TEST_F(Behind, AWriterEveryReaderGivesUpWhenItsTimeIsOver)
{
    const auto writing = write(cache_);
    for (auto command : readers_) {
        const std::string name = command[0] + ' ' + command[1];
        command.insert(command.end(), {"--wait", "0"});
        const auto result = run(command);
        EXPECT_EQ(result.errors, "ksrbac: waited 0 s for the writer of " + cacheDirectory() +
                                     ", who still holds its lock: try again, or wait longer with --wait\n")
            << name;
        EXPECT_EQ(result.output, "") << name;
        EXPECT_EQ(result.exitStatus, 3) << name;
    }
}

TEST_F(Behind, AWriterOfTheOperationCacheToo)
{
    const auto writing = write(operations_);
    const auto result = run({"operations", "--wait=0", "--detailed-exit-status"});
    EXPECT_EQ(result.errors, "ksrbac: waited 0 s for the writer of " + operationCache() +
                                 ", who still holds its lock: try again, or wait longer with --wait\n");
    EXPECT_EQ(result.exitStatus, 8);
}

class ToolConfiguration : public KsrbacTest {
protected:
    void configure(const std::string& text) const { writeFile(root_.path("etc/keepsafe.toml"), text); }
};

TEST_F(ToolConfiguration, AMalformedFileEndsWithTwoAndItsPlace)
{
    configure("[log]\nlevel = \"high\"\n");
    const auto result = run({"operations"});
    EXPECT_EQ(result.errors.rfind("ksrbac: " + root_.path("etc/keepsafe.toml") + ":2:", 0), 0)
        << result.errors;
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.exitStatus, 2);
}

TEST_F(ToolConfiguration, SaysWhereLogMessagesGo)
{
    configure("[log]\nlevel = 16\ndestination = \"file:" + root_.path("log") + "\"\n");
    std::filesystem::remove(operationCache());
    const auto result = runProgram({KSRBAC_BINARY, "--root", root_.path(), "operations"});
    EXPECT_EQ(result.errors.find("error(16)"), std::string::npos) << result.errors;
    EXPECT_NE(readFile(root_.path("log")).find("OperationCache::load: Error loading operation cache: "),
              std::string::npos);
}

TEST_F(ToolConfiguration, ALogThatCannotBeOpenedIsNotedAndStandardErrorTakesItsPlace)
{
    configure("[log]\ndestination = \"file:" + root_.path("none/log") + "\"\n");
    const auto result = run({"cache", "verify", "main", "--log-level", "4"});
    EXPECT_EQ(result.errors.rfind("ksrbac: note: cannot open the log file \"" + root_.path("none/log") +
                                      "\": No such file or directory: log messages go to standard error\n",
                                  0),
              0U)
        << result.errors;
    EXPECT_NE(result.errors.find("instantiating memory map"), std::string::npos) << result.errors;
    EXPECT_EQ(result.exitStatus, 0);
}

TEST_F(ToolConfiguration, TheLogLevelOfTheCommandLineOutranksIt)
{
    configure("[log]\nlevel = 16\n");
    EXPECT_EQ(runProgram({KSRBAC_BINARY, "--root", root_.path(), "cache", "verify", "main"}).errors, "");
    const auto result = run({"cache", "verify", "main", "--log-level", "4"});
    EXPECT_NE(result.errors.find("instantiating memory map for " + cacheDirectory() + "/nodes\n"),
              std::string::npos)
        << result.errors;
}

TEST_F(ToolConfiguration, TheRootMayBeRelativeToTheCurrentFolder)
{
    const auto relative = std::filesystem::relative(root_.path());
    EXPECT_EQ(
        runProgram({KSRBAC_BINARY, "operations", "--json", "--root", relative.string() + "/"}).exitStatus, 0);
}

TEST_F(ToolConfiguration, AnEmptyRootIsAUsageError)
{
    const auto result = runProgram({KSRBAC_BINARY, "--root=", "operations"});
    EXPECT_EQ(result.errors, "ksrbac: --root: the installation root must not be empty\n");
    EXPECT_EQ(result.exitStatus, 2);
}

TEST_F(ToolConfiguration, ARootThatIsNoDirectoryIsAnError)
{
    const std::vector<std::string> check{"check", "--operation=|O|", "--roles=17", "|A|"};
    const auto runUnder = [&check](const std::string& root) {
        std::vector<std::string> arguments{KSRBAC_BINARY, "--root", root};
        arguments.insert(arguments.end(), check.begin(), check.end());
        return runProgram(arguments);
    };
    const auto missing = runUnder(root_.path("typo"));
    EXPECT_EQ(missing.errors, "ksrbac: --root: " + root_.path("typo") + ": No such file or directory\n");
    EXPECT_EQ(missing.output, "");
    EXPECT_EQ(missing.exitStatus, 2);
    const auto file = runUnder(operationCache());
    EXPECT_EQ(file.errors, "ksrbac: --root: " + operationCache() + ": Not a directory\n");
    EXPECT_EQ(file.exitStatus, 2);
}

TEST_F(ToolConfiguration, WithoutAFileTheAnswerSaysWhyEverythingIsAllowed)
{
    const auto result = run({"check", "--operation=|O|", "--roles=17", "|A|"});
    EXPECT_EQ(result.output, "allow\t|A|\n");
    EXPECT_EQ(result.errors, "ksrbac: note: enforcement is off, because there is no configuration file " +
                                 root_.path("etc/keepsafe.toml") +
                                 ": everything is allowed, and neither roles nor tokens are looked at\n");
}

class Help : public KsrbacTest {};

TEST_F(Help, NeedsNoSoundConfiguration)
{
    writeFile(root_.path("etc/keepsafe.toml"), "broken");
    EXPECT_EQ(run({"--help"}).exitStatus, 0);
    EXPECT_EQ(run({"--version"}).output, "ksrbac (keepsafe-rbac) " KSRBAC_VERSION "\n");
}

} // namespace
} // namespace keepsafe_test
