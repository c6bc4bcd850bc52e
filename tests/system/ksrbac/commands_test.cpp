#include <filesystem>
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
    const std::string message = "ksrbac: status 13: " + getECmsg(13) + '\n';
    writeFile(operationCache(), "{");
    EXPECT_EQ(run({"operations"}).errors, message);
    std::filesystem::remove(operationCache());
    const auto result = run({"operations"});
    EXPECT_EQ(result.errors, message);
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

class Configuration : public KsrbacTest {
protected:
    void configure(const std::string& text) const { writeFile(root_.path("etc/keepsafe.toml"), text); }
};

TEST_F(Configuration, AMalformedFileEndsWithTwoAndItsPlace)
{
    configure("[log]\nlevel = \"high\"\n");
    const auto result = run({"operations"});
    EXPECT_EQ(result.errors.rfind("ksrbac: " + root_.path("etc/keepsafe.toml") + ":2:", 0), 0)
        << result.errors;
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.exitStatus, 2);
}

TEST_F(Configuration, SaysWhereLogMessagesGo)
{
    configure("[log]\nlevel = 16\ndestination = \"file:" + root_.path("log") + "\"\n");
    std::filesystem::remove(operationCache());
    const auto result = runProgram({KSRBAC_BINARY, "--root", root_.path(), "operations"});
    EXPECT_EQ(result.errors, "ksrbac: status 13: " + getECmsg(13) + '\n');
    EXPECT_NE(readFile(root_.path("log")).find("OperationCache::load: Error loading operation cache: "),
              std::string::npos);
}

TEST_F(Configuration, ALogThatCannotBeOpenedEndsWithTwo)
{
    configure("[log]\ndestination = \"file:" + root_.path("none/log") + "\"\n");
    const auto result = run({"operations"});
    EXPECT_NE(result.errors.find(root_.path("none/log")), std::string::npos) << result.errors;
    EXPECT_EQ(result.exitStatus, 2);
}

TEST_F(Configuration, TheLogLevelOfTheCommandLineOutranksIt)
{
    configure("[log]\nlevel = 16\n");
    EXPECT_EQ(runProgram({KSRBAC_BINARY, "--root", root_.path(), "cache", "verify", "main"}).errors, "");
    const auto result = run({"cache", "verify", "main", "--log-level", "4"});
    EXPECT_NE(result.errors.find("instantiating memory map for " + cacheDirectory() + "/nodes\n"),
              std::string::npos)
        << result.errors;
}

TEST_F(Configuration, TheRootMayBeRelativeToTheCurrentFolder)
{
    const auto relative = std::filesystem::relative(root_.path());
    EXPECT_EQ(
        runProgram({KSRBAC_BINARY, "operations", "--json", "--root", relative.string() + "/"}).exitStatus, 0);
}

TEST_F(Configuration, AnEmptyRootIsAUsageError)
{
    const auto result = runProgram({KSRBAC_BINARY, "--root=", "operations"});
    EXPECT_EQ(result.errors, "ksrbac: --root: the installation root must not be empty\n");
    EXPECT_EQ(result.exitStatus, 2);
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
