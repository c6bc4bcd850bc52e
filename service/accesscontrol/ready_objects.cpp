#include "accesscontrol/ready_objects.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::READY;

void noteReadyObjects(const Model& model, std::unordered_set<std::string>& names)
{
    for (const auto& [number, object] : model.objects()) {
        if (object.kept.state == READY) {
            names.insert(object.kept.name);
        }
    }
}

void noteReadyObjects(const Model& model, const Changes& changes, std::unordered_set<std::string>& names)
{
    const auto note = [&](std::int32_t number) {
        const Model::Object* const object = model.object(number);
        if (object != nullptr && object->kept.state == READY) {
            names.insert(object->kept.name);
        }
    };
    for (const std::int32_t number : changes.removedObjects) {
        note(number);
    }
    for (const KeptObject& object : changes.objects) {
        note(object.number);
    }
    for (const KeptDefinition& definition : changes.definitions) {
        note(definition.object);
    }
    for (const std::int32_t id : changes.removedDefinitions) {
        if (const KeptDefinition* const definition = model.definition(id)) {
            note(definition->object);
        }
    }
}

} // namespace keepsafe_service
