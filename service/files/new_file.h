#ifndef KEEPSAFE_SERVICE_FILES_NEW_FILE_H
#define KEEPSAFE_SERVICE_FILES_NEW_FILE_H

#include <string>
#include <string_view>

#include <sys/types.h>

namespace keepsafe_service {

/// Who may read a new file.
constexpr mode_t OWNER_ONLY = 0600;
constexpr mode_t EVERYBODY = 0644;

/// Makes the folder and those above it where they are missing; a new one with this mode, whatever the umask
/// says. Throws `FileError`.
void ensureFolder(const std::string& path, mode_t mode);

/// Makes a file that appears under its name with its whole content and its mode, or not at all: at no time
/// can somebody else read what is for the owner only. False, with the file as it was, when there is one.
/// Throws `FileError`.
bool createFile(const std::string& path, mode_t mode, std::string_view content);

/// Throws `InputError` when others than its owner may read or write a private key.
void requireOwnerOnly(const std::string& path);

} // namespace keepsafe_service

#endif
