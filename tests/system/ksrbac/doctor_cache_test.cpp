#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include <keepsafe/platform/filelock/FileLock.h>

#include "DoctorTest.h"
#include "support/Descriptor.h"
#include "support/Process.h"

// ksrbac doctor: access cache, lock, reader slots and operation cache.

namespace keepsafe_test {
namespace {

/// A second process that holds a lock until it is killed.
Process holdExclusively(const std::string& path)
{
    const Pipe pipe;
    Process holder = Process::fork([&] {
        const FileLock lock = FileLockManager::instance().getLock(path);
        const FileLockGuard guard(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER,
                                  FileLock::DEFAULT_INTERVAL);
        const bool isSaid = write(pipe.writeEnd.get(), "x", 1) == 1;
        pause();
        return isSaid ? 0 : 1;
    });
    char ignored = 0;
    EXPECT_EQ(read(pipe.readEnd.get(), &ignored, 1), 1);
    return holder;
}

void writeByte(const std::string& path, std::streamoff offset, char byte)
{
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(offset);
    file.put(byte);
}

constexpr std::streamoff WRITE_IN_PROGRESS = 20;

using DoctorOfCaches = DoctorTest;

TEST_F(DoctorOfCaches, NamesTheProcessThatKeepsTheLock)
{
    const Process holder = holdExclusively(cacheFile("manifest.json"));
    const DoctorReport report = doctor({"--timeout", "1"});
    EXPECT_EQ(report.of("cache lock"),
              "failure  cache lock: ROOT/wmc/webserver/temp/access-caches/service/manifest.json is held "
              "exclusively by process " +
                  std::to_string(holder.pid()) +
                  " (ksrbac_doctor_s), for 1 s or longer: checks wait for it\n"
                  "         see what that process does; if it is stopped or hangs, let it go on or end it");
    EXPECT_EQ(report.of("cache structure"),
              "skipped  cache structure: because the cache's lock cannot be taken");
    EXPECT_EQ(report.of("cache state"), "skipped  cache state: because the cache's lock cannot be taken");
    EXPECT_EQ(report.exitStatus, 2);
}

TEST_F(DoctorOfCaches, NamesAHeldLockOfTheOperationCache)
{
    const Process holder = holdExclusively(root_.path("wmc/webserver/temp/operation-cache.json.lck"));
    EXPECT_EQ(
        doctor({"--timeout", "1"}).of("operation cache"),
        "failure  operation cache: ROOT/wmc/webserver/temp/operation-cache.json.lck is held exclusively for "
        "longer than 1 s\n"
        "         see which process writes the operation cache, and whether it is stopped");
}

TEST_F(DoctorOfCaches, FindsAWriteThatWasInterrupted)
{
    writeByte(cacheFile("metadata"), WRITE_IN_PROGRESS, 1);
    const DoctorReport report = doctor();
    EXPECT_EQ(report.of("cache state"),
              "failure  cache state: generation 2, last written now: that write was interrupted, so that all "
              "checks are refused\n"
              "         let the service write it again: start ksrbacd, or restart it");
    EXPECT_EQ(report.exitStatus, 2);
}

TEST_F(DoctorOfCaches, FindsAWriterThatHasDied)
{
    Process holder = holdExclusively(cacheFile("manifest.json"));
    holder.kill();
    holder.wait();
    EXPECT_EQ(
        doctor().of("reader slots"),
        "warning  reader slots: the last writer ended in the middle: all read by the kernel lock, which is "
        "slower\n"
        "         it ends with the next write of the cache, for which any change at the service will do");
}

TEST_F(DoctorOfCaches, FindsFilesThatAreMissingOrDoNotFit)
{
    std::filesystem::resize_file(cacheFile("segments"), 0);
    EXPECT_EQ(
        doctor().of("cache structure"),
        "failure  cache structure: the root of the names is beyond the end of segments\n"
        "         let the service write it again: start ksrbacd, or restart it; 'ksrbac cache verify' lists "
        "all faults");
    writeFile(cacheFile("manifest.json"), "{}");
    EXPECT_EQ(
        doctor().of("cache structure"),
        "failure  cache structure: manifest.json: no member \"namespace\" that is a string\n"
        "         let the service write it again: start ksrbacd, or restart it; 'ksrbac cache verify' lists "
        "all faults");
    std::filesystem::remove(cacheFile("nodes"));
    EXPECT_EQ(doctor().of("access cache"),
              "failure  access cache: ROOT/wmc/webserver/temp/access-caches/service/nodes: No such file or "
              "directory\n"
              "         let the service write it again: start ksrbacd, or restart it");
}

TEST_F(DoctorOfCaches, FindsOperationsThatShareABitAndGrantsOfNone)
{
    const std::string path = root_.path("wmc/webserver/temp/operation-cache.json");
    writeFile(path, R"({"|OPERATIONS|A|": 70, "|OPERATIONS|B|": 70})");
    const DoctorReport shared = doctor();
    EXPECT_EQ(
        shared.of("operation cache"),
        "failure  operation cache: |OPERATIONS|A| and |OPERATIONS|B| have the same bit 70: who may do one "
        "may do the other\n"
        "         let the service write it again: start ksrbacd, or restart it");
    EXPECT_EQ(shared.of("granted operations"),
              "skipped  granted operations: because the operation cache cannot be used");
    writeFile(path, R"({"|OPERATIONS|A|": 70})");
    EXPECT_EQ(
        doctor().of("granted operations"),
        "failure  granted operations: |KEEPSAFE| has a grant of bit 0, which is no operation of the "
        "operation cache\n"
        "         the two files are of different times: let the service write it again: start ksrbacd, or "
        "restart it");
    writeFile(path, "{");
    EXPECT_EQ(
        doctor().of("operation cache").rfind("failure  operation cache: Error loading operation cache: ", 0),
        0U);
    std::filesystem::remove(path);
    EXPECT_EQ(
        doctor().of("operation cache"),
        "failure  operation cache: ROOT/wmc/webserver/temp/operation-cache.json: No such file or directory: "
        "checks fail with status 13\n"
        "         let the service write it again: start ksrbacd, or restart it");
}

TEST_F(DoctorOfCaches, ExaminesTheCacheThatIsNamed)
{
    std::filesystem::copy(cacheFile(""), root_.path("wmc/webserver/temp/access-caches/copy"));
    const DoctorReport report = doctor({"--cache", "copy"});
    EXPECT_EQ(report.of("access cache"), "ok       access cache: ROOT/wmc/webserver/temp/access-caches/copy");
    EXPECT_EQ(
        report.of("cache state"),
        "ok       cache state: generation 2, last written now; it is not the cache that the service names");
    EXPECT_EQ(report.of("reader slots"),
              "ok       reader slots: no process has any now; the next writer makes them");
    const std::string none = doctor({"--cache", "none"}).of("access cache");
    EXPECT_EQ(none,
              "failure  access cache: ROOT/wmc/webserver/temp/access-caches/none/manifest.json: No such file "
              "or directory\n"
              "         let the service write it again: start ksrbacd, or restart it");
}

TEST_F(DoctorOfCaches, LeavesTheHostAsItIs)
{
    const auto listing = [this] {
        return runProgram({"sh", "-c",
                           "cd \"$0\" && find . ! -path './var/log*' -printf '%p %m %s %T@\\n' | sort",
                           root_.path()})
            .output;
    };
    root_.stop();
    static_cast<void>(doctor());
    const std::string before = listing();
    static_cast<void>(doctor());
    // A reader's folder changes while a reader has a file in it.
    const auto withoutTimesOfFolders = [](const std::string& text) {
        return std::regex_replace(text, std::regex("(\\.readers [0-9]+ [0-9]+) [0-9.]+"), "$1");
    };
    EXPECT_EQ(withoutTimesOfFolders(listing()), withoutTimesOfFolders(before));
}

} // namespace
} // namespace keepsafe_test
