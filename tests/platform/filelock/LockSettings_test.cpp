#include "LockSettings.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/TempDir.h"

namespace Tessara::Keepsafe::Platform::filelock {
namespace {

using std::chrono::microseconds;
using testing::HasSubstr;

/// In the largest unit of which it is a whole number.
std::string textOf(microseconds length)
{
    const auto count = length.count();
    return count % 1000000 == 0 ? std::to_string(count / 1000000) + " s"
           : count % 1000 == 0  ? std::to_string(count / 1000) + " ms"
                                : std::to_string(count) + " µs";
}

TEST(LockSettingsTest, AreThoseOfTheDocument)
{
    const LockSettings settings;
    const std::string document = keepsafe_test::readFile(KEEPSAFE_SOURCE_DIR "/docs/locking.md");
    for (const std::string& text :
         {"| gate shut at most | " + textOf(settings.gateShut) + " at a time |",
          "| gate then open for | " + textOf(settings.gateOpen) + ", doubling to " +
              textOf(settings.gateOpenLongest) + " |",
          "| patience with a shut gate | " + textOf(settings.gatePatience) + " |",
          "| a writer's rest | " + textOf(settings.writerRest) + " |",
          "Every " + textOf(settings.pathCheckInterval) + " readers compare the lock file",
          "| wait " + textOf(settings.newPageWait) + ", create it again, and read the slots |"}) {
        EXPECT_THAT(document, HasSubstr(text));
    }
    EXPECT_EQ(textOf(settings.registrationRetry), "1 s");
    EXPECT_THAT(document, HasSubstr("tries again after a second"));
}

TEST(LockSettingsTest, HaveTheGateAndTheSlotsInUse)
{
    EXPECT_TRUE(LockSettings().gate);
    EXPECT_TRUE(LockSettings().slots);
}

} // namespace
} // namespace Tessara::Keepsafe::Platform::filelock
