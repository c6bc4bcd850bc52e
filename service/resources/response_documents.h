#ifndef KEEPSAFE_SERVICE_RESOURCES_RESPONSE_DOCUMENTS_H
#define KEEPSAFE_SERVICE_RESOURCES_RESPONSE_DOCUMENTS_H

#include <string>
#include <vector>

#include "accesscontrol/records.h"
#include "journal/read_journal.h"

/// \file
/// The documents that the service answers with, as JSON texts.

namespace keepsafe_service {

[[nodiscard]] std::string accessCacheDocument(const std::string& cacheId);
[[nodiscard]] std::string roleDocument(const RoleRecord& role);
[[nodiscard]] std::string rolesDocument(const std::vector<RoleRecord>& roles);
[[nodiscard]] std::string objectDocument(const ObjectRecord& object);
[[nodiscard]] std::string definitionDocument(const AccessDefinitionRecord& definition);
[[nodiscard]] std::string definitionsDocument(const std::vector<AccessDefinitionRecord>& definitions);
[[nodiscard]] std::string
operationsDocument(const std::vector<Tessara::Keepsafe::Rbac::ObjectNamespace>& operations);
/// The record itself: the document of a single registration has no member "data" around it.
[[nodiscard]] std::string registrationDocument(const RegisteredObjects& registered);
[[nodiscard]] std::string registrationsDocument(const std::vector<RegisteredObjects>& registered);
[[nodiscard]] std::string stateUpdateDocument();
/// `next`: the link of the next page; empty when this is the last one.
[[nodiscard]] std::string changesDocument(const JournalPage& page, const std::string& next);

} // namespace keepsafe_service

#endif
