#include "NoDestructor.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using Tessara::Keepsafe::Process::NoDestructor;

TEST(NoDestructor, HoldsWhatItsArgumentsMake)
{
    NoDestructor<std::string> text(3U, 'a');
    EXPECT_EQ(*text, "aaa");
    text->append("b");
    EXPECT_EQ(*text, "aaab");
}

TEST(NoDestructor, DoesNotDestroyTheObject)
{
    struct Marker {
        explicit Marker(bool& flag) : destroyed(flag) {}
        ~Marker() { destroyed = true; }
        bool& destroyed;
    };
    bool destroyed = false;
    {
        NoDestructor<Marker> marker(destroyed);
        EXPECT_FALSE(marker->destroyed);
    }
    EXPECT_FALSE(destroyed);
}

} // namespace
