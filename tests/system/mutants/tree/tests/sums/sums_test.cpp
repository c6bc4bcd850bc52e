#include "../../src/sums/sums.h"

int main()
{
    const bool clamps = clamped(3, 5) == 3 && clamped(5, 5) == 5 && clamped(7, 5) == 5;
    return clamps && stepsUpTo(4) == 4 ? 0 : 1;
}
