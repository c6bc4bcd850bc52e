#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_MODEL_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_MODEL_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "accesscontrol/Content.h"
#include "cachewriter/ImageBuilder.h"

namespace keepsafe_service {

/// All of the access-control service's data in memory, indexed by id and name. Functions return null pointers
/// for unknown items; pointers are valid until the next change.
///
/// INVARIANT: the object, the role and the operations of every definition exist, and so does the object that
/// another one was registered with.
class Model {
public:
    struct Object {
        KeptObject kept;
        std::set<std::int32_t> definitions;
        std::set<std::int32_t> children; ///< the objects that were registered with it
    };

    explicit Model(Content content);
    Model(Model&&) = default;
    Model& operator=(Model&&) = default;

    [[nodiscard]] const std::map<std::int32_t, RoleRecord>& roles() const noexcept { return roles_; }
    [[nodiscard]] const RoleRecord* role(std::int32_t id) const;
    [[nodiscard]] const RoleRecord* roleOfName(const std::string& name) const;
    /// The access definitions that name the role.
    [[nodiscard]] std::vector<std::int32_t> definitionsOfRole(std::int32_t id) const;

    [[nodiscard]] const OperationBits& operations() const noexcept { return operations_; }
    /// The operation with a bit that one has.
    [[nodiscard]] const Tessara::Keepsafe::Rbac::ObjectNamespace& operationOf(std::int32_t bit) const
    {
        return operationNames_.at(bit);
    }

    [[nodiscard]] const std::unordered_map<std::int32_t, Object>& objects() const noexcept
    {
        return objects_;
    }
    [[nodiscard]] const Object* object(std::int32_t number) const;
    [[nodiscard]] const Object* object(const std::string& name) const;
    [[nodiscard]] const KeptDefinition* definition(std::int32_t id) const;

    [[nodiscard]] std::size_t definitionCount() const noexcept { return definitions_.size(); }

    [[nodiscard]] NextIds next() const noexcept { return next_; }
    [[nodiscard]] std::int32_t nextNumber() const noexcept { return nextNumber_; }

    [[nodiscard]] ObjectRecord record(const Object& object) const;
    [[nodiscard]] AccessDefinitionRecord record(const KeptDefinition& definition) const;
    /// The object as it is in the access cache.
    [[nodiscard]] CacheObject cacheObject(const Object& object) const;

    void apply(const Changes& changes);

private:
    void remove(std::int32_t definitionId);
    void removeObject(std::int32_t number);
    void removeRole(std::int32_t id);
    void put(const RoleRecord& role);
    void put(const KeptObject& object);
    void put(const KeptDefinition& definition);

    std::map<std::int32_t, RoleRecord> roles_;
    std::unordered_map<std::string, std::int32_t> roleIds_; ///< by name
    OperationBits operations_;
    std::unordered_map<std::int32_t, Tessara::Keepsafe::Rbac::ObjectNamespace> operationNames_; ///< by bit
    std::unordered_map<std::int32_t, Object> objects_;
    std::unordered_map<std::string_view, std::int32_t> numbers_; ///< by the name in `objects_`
    std::unordered_map<std::int32_t, KeptDefinition> definitions_;
    std::unordered_map<std::int32_t, std::unordered_set<std::int32_t>> roleDefinitions_;
    NextIds next_;
    std::int32_t nextNumber_ = 1;
};

} // namespace keepsafe_service

#endif
