#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_STRESS_PRIORITY_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_STRESS_PRIORITY_H

namespace filelock_stress {

/// Puts this run before the machine's other work as far as the user may do that, so that the waits tell about
/// the lock and not about the other work.
void comeBeforeOtherWork();

} // namespace filelock_stress

#endif
