#ifndef KEEPSAFE_SANDBOX_POLICY_POLICY_IMAGE_H
#define KEEPSAFE_SANDBOX_POLICY_POLICY_IMAGE_H

#include "cachewriter/CacheImage.h"
#include "policy/Policy.h"

namespace keepsafe_sandbox {

/// The policy as the content of a cache. Throws `InputError` when it would outgrow the format.
keepsafe_service::CacheImage imageOf(const Policy& policy);

} // namespace keepsafe_sandbox

#endif
