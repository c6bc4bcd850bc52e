// The policy document: it is rejected with a message, or the result is consistent and becomes a cache.

#include <cstdint>
#include <string>

#include "errors/InputError.h"
#include "policy/policy_image.h"
#include "policy/policy_reader.h"

#include "require.h"

using keepsafe_sandbox::AccessDefinition;
using keepsafe_sandbox::Policy;
using keepsafe_service::CacheImage;
using keepsafe_service::InputError;
using Tessara::Keepsafe::Rbac::ObjectNamespace;

namespace {

void checkPolicy(const Policy& policy)
{
    for (const AccessDefinition& definition : policy.accessDefinitions) {
        require(definition.object < policy.objects.size(), "an access definition has its object");
        for (const auto operation : definition.operations) {
            require(operation.offset >= 0, "a bit is not below zero");
        }
    }
    const CacheImage image = imageOf(policy);
    require(image.objects.size() == policy.objects.size() + 1, "each object has its record");
    require(image.counts.size() == image.objects.size(), "each record has its count");
    require((image.segmentRoot == 0) == policy.objects.empty(), "objects can be found");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    try {
        checkPolicy(
            keepsafe_sandbox::readPolicy({reinterpret_cast<const char*>(data), size}, ObjectNamespace()));
    } catch (const InputError& error) {
        require(*error.what() != '\0', "a refusal has a message");
    }
    return 0;
}
