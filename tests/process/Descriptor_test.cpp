#include "Descriptor.h"

#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>

namespace {

using Tessara::Keepsafe::Process::Descriptor;

Descriptor openSomething() { return Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)); }

bool isOpen(int descriptor) { return ::fcntl(descriptor, F_GETFD) != -1; }

TEST(ADescriptor, IsClosedWithItsOwner)
{
    int number = -1;
    {
        const Descriptor descriptor = openSomething();
        number = descriptor.get();
        EXPECT_TRUE(isOpen(number));
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(ADescriptor, BelongsToOneOwnerAtATime)
{
    Descriptor source = openSomething();
    const int number = source.get();
    const Descriptor target = std::move(source);
    EXPECT_FALSE(source.isOpen()); // NOLINT(bugprone-use-after-move): what moving leaves behind
    EXPECT_EQ(target.get(), number);
}

TEST(ADescriptor, StaysOpenWhenItIsReleased)
{
    const int number = openSomething().release();
    EXPECT_TRUE(isOpen(number));
    const Descriptor again(number);
}

} // namespace
