#include <keepsafe/platform/log/log_sink.h>

#include <cstdarg>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <syslog.h>

#include "rbac/api/FailingAllocation.h"

namespace {

struct Opened {
    const char* ident;
    int option;
    int facility;
};

std::vector<Opened> opened;
std::vector<std::pair<int, std::string>> sent;
int closed = 0;

void add(int priority, const char* format, std::va_list arguments)
{
    char text[256];
    std::vsnprintf(text, sizeof text, format, arguments);
    sent.emplace_back(priority, text);
}

} // namespace

// These take the place of the C library's functions in this program and the shared libraries it loads.
extern "C" {

void openlog(const char* ident, int option, int facility) { opened.push_back({ident, option, facility}); }

void syslog(int priority, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    add(priority, format, arguments);
    va_end(arguments);
}

/// What libraries call that are compiled with checked functions.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the C library's name
void __syslog_chk(int priority, int /*flag*/, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    add(priority, format, arguments);
    va_end(arguments);
}

void closelog() { ++closed; }

} // extern "C"

namespace {

namespace Platform = Tessara::Keepsafe::Platform;
using Sent = std::vector<std::pair<int, std::string>>;

class SyslogSink : public testing::Test {
protected:
    SyslogSink()
    {
        opened.clear();
        sent.clear();
    }
};

TEST_F(SyslogSink, OpensTheSystemLogUnderTheProgramsName)
{
    const auto sink = Platform::makeSyslogSink("ksrbac");
    ASSERT_EQ(opened.size(), 1U);
    EXPECT_STREQ(opened[0].ident, "ksrbac");
    EXPECT_EQ(opened[0].option, LOG_PID);
    EXPECT_EQ(opened[0].facility, LOG_DAEMON);
}

TEST_F(SyslogSink, SendsTagAndTextWithASeverityForEachBandOfLevels)
{
    const auto sink = Platform::makeSyslogSink("ksrbac");
    for (const int level : {-1, 2, 3, 4, 7, 8, 15, 16, 99}) {
        sink->write({level, "Tag::of", "100%s"});
    }
    const std::string line = "Tag::of: 100%s";
    EXPECT_EQ(sent, (Sent{{LOG_DAEMON | LOG_DEBUG, line},
                          {LOG_DAEMON | LOG_DEBUG, line},
                          {LOG_DAEMON | LOG_DEBUG, line},
                          {LOG_DAEMON | LOG_INFO, line},
                          {LOG_DAEMON | LOG_INFO, line},
                          {LOG_DAEMON | LOG_NOTICE, line},
                          {LOG_DAEMON | LOG_NOTICE, line},
                          {LOG_DAEMON | LOG_ERR, line},
                          {LOG_DAEMON | LOG_ERR, line}}));
}

TEST_F(SyslogSink, SendsOneLineForEachMessage)
{
    const auto sink = Platform::makeSyslogSink("ksrbac");
    sink->write({16, "a\tb", std::string_view("c\n\0d", 4)});
    EXPECT_EQ(sent, (Sent{{LOG_DAEMON | LOG_ERR, "a\\x09b: c\\x0A\\x00d"}}));
}

TEST_F(SyslogSink, KeepsItsNameForTheProcessWhenItGoes)
{
    auto program = std::make_unique<std::string>("a name that is too long for the string object itself");
    Platform::makeSyslogSink(*program);
    program.reset();
    ASSERT_EQ(opened.size(), 1U);
    EXPECT_STREQ(opened[0].ident, "a name that is too long for the string object itself");
    EXPECT_EQ(closed, 0);
}

TEST_F(SyslogSink, LosesALineThatMemoryIsMissingForAndNothingElse)
{
    const auto sink = Platform::makeSyslogSink("ksrbac");
    const std::string text(5000, 'x');
    {
        const keepsafe_test::FailingAllocation failing(0);
        sink->write({16, "tag", text});
    }
    EXPECT_TRUE(keepsafe_test::FailingAllocation::happened());
    EXPECT_EQ(sent, Sent());
    sink->write({16, "tag", "next"});
    EXPECT_EQ(sent, (Sent{{LOG_DAEMON | LOG_ERR, "tag: next"}}));
}

} // namespace
