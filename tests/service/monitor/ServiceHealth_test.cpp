#include "monitor/ServiceHealth.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using keepsafe_service::ControlFigures;
using keepsafe_service::ServiceHealth;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

TEST(ServiceHealth, IsGoodWhenNothingIsWrong)
{
    ControlFigures control;
    ServiceHealth health(control);
    EXPECT_THAT(health.faults(), ElementsAre("the service is starting"));
    health.enter(ServiceHealth::Phase::Serving);
    EXPECT_THAT(health.faults(), IsEmpty());
    health.enter(ServiceHealth::Phase::Ending);
    EXPECT_THAT(health.faults(), ElementsAre("the service is ending"));
}

TEST(ServiceHealth, NamesAllThatIsWrongUntilItIsOver)
{
    ControlFigures control;
    ServiceHealth health(control);
    health.enter(ServiceHealth::Phase::Serving);
    control.setOutdated("no space");
    health.setDatabaseFault("the database is away");
    EXPECT_FALSE(health.isDatabaseThere());
    EXPECT_THAT(health.faults(),
                ElementsAre(MatchesRegex("the access cache is outdated since [-0-9T:]+Z: no space"),
                            "the database is away"));
    control.setCurrent();
    health.setDatabaseFault(std::nullopt);
    EXPECT_THAT(health.faults(), IsEmpty());
}

TEST(ServiceHealth, KeepsTheTimeSinceWhenTheCacheIsOutdated)
{
    ControlFigures control;
    control.setOutdated("one");
    const auto since = control.outdated()->since;
    control.setOutdated("two");
    EXPECT_EQ(control.outdated()->since, since);
    EXPECT_EQ(control.outdated()->reason, "two");
}

} // namespace
