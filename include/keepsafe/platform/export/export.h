#ifndef KEEPSAFE_PLATFORM_EXPORT_EXPORT_H
#define KEEPSAFE_PLATFORM_EXPORT_EXPORT_H

/// Marks what the two shared libraries export. They are built with hidden visibility, so anything without
/// this mark stays private. The macro reads the same for the library and for its users.
#define KEEPSAFE_API __attribute__((visibility("default")))

#endif
