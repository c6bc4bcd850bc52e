#ifndef SUMS_H
#define SUMS_H

int clamped(int value, int limit);
int difference(int left, int right);
int stepsUpTo(int last);

#endif
