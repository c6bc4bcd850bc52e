#ifndef KEEPSAFE_SERVICE_CACHEWRITER_MANIFESTFILE_H
#define KEEPSAFE_SERVICE_CACHEWRITER_MANIFESTFILE_H

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "files/FileSystem.h"

namespace keepsafe_service {

/// Makes the manifest name `covers`, unless it does so already. The caller holds the cache's lock, but
/// readers open manifests without it, and the file cannot be renamed because the lock is on it. So it is
/// changed in place in such a way that a reader at any moment of it finds the old document, the new one, or
/// something that is not JSON:
///
/// 1. the last closing brace of the old document becomes a space: now it is not JSON;
/// 2. all of it becomes spaces;
/// 3. the new document is written behind them, its opening brace still a space;
/// 4. the brace is written.
///
/// Old and new never lie over each other. A reader that is overtaken in the middle of the old document goes
/// on in spaces and finds a whole new document inside the one it has begun, which is not JSON.
void updateManifest(FileSystem& fileSystem, const OpenFile& manifest,
                    const Tessara::Keepsafe::Rbac::ObjectNamespace& covers);

} // namespace keepsafe_service

#endif
