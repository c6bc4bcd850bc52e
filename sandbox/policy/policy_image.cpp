#include "policy/policy_image.h"

#include "cachewriter/ImageBuilder.h"

namespace keepsafe_sandbox {

using keepsafe_service::CacheImage;
using keepsafe_service::CacheObject;
using keepsafe_service::ImageBuilder;

CacheImage imageOf(const Policy& policy)
{
    std::vector<CacheObject> objects;
    objects.reserve(policy.objects.size());
    for (const PolicyObject& object : policy.objects) {
        objects.push_back({object.ns, object.inherit, {}, {}, 0});
    }
    for (const AccessDefinition& definition : policy.accessDefinitions) {
        CacheObject& object = objects[definition.object];
        ++object.accessDefinitionCount;
        for (const Tessara::Keepsafe::Rbac::Operation operation : definition.operations) {
            object.grant(definition.roleId, definition.propagation, operation);
        }
    }
    ImageBuilder builder;
    for (const CacheObject& object : objects) {
        builder.add(object);
    }
    return std::move(builder).build();
}

} // namespace keepsafe_sandbox
