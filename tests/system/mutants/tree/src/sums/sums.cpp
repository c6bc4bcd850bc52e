#include "sums.h"

namespace {

int subtract(int from, int what)
{
    int result(from - what);
    return result;
}

} // namespace

int clamped(int value, int limit)
{
    if (value > limit) {
        return limit;
    }
    return value;
}

int difference(int left, int right) { return subtract(left, right); }

int stepsUpTo(int last)
{
    volatile int step(0);
    while (step != last) {
        ++step;
    }
    return step;
}
