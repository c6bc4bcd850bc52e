#include "criteria/CriteriaStore.h"

#include "errors/InputError.h"
#include "fault_text.h"
#include "load.h"
#include "json/json_text.h"

namespace keepsafe_sandbox {

using keepsafe_service::Database;
using keepsafe_service::InputError;
using Tessara::Keepsafe::JsonHandle;

namespace {

constexpr std::size_t MOST_TYPE_BYTES = 255;

void requireUsable(const Criteria& criteria)
{
    const std::size_t bytes = criteria.json.size();
    if (bytes > CriteriaStore::MOST_DOCUMENT_BYTES) {
        throw InputError("the criteria document has " + std::to_string(bytes) + " bytes, and at most " +
                         std::to_string(CriteriaStore::MOST_DOCUMENT_BYTES) + " can be read back");
    }
    json_error_t error = {};
    const JsonHandle document = Tessara::Keepsafe::loadJson(criteria.json, error, JSON_REJECT_DUPLICATES);
    if (!document) {
        throw InputError("the criteria document is not JSON: " + Tessara::Keepsafe::faultText(error));
    }
    const std::string& type = criteria.objectType;
    if (type.empty() || type.size() > MOST_TYPE_BYTES || type.find('\0') != std::string::npos) {
        throw InputError("the object type must have 1 to " + std::to_string(MOST_TYPE_BYTES) + " bytes");
    }
}

} // namespace

void CriteriaStore::add(const Criteria& criteria)
{
    requireUsable(criteria);
    // Two writers at once may choose the same id: the key of the table then refuses the second one.
    database_.change("store the criteria",
                     "INSERT INTO AUTH_MAIN.ACTL_CollectionCriteria "
                     "(CriteriaID, CollectionKey, CriteriaJson, objectType) "
                     "SELECT COALESCE(MAX(CriteriaID), 0) + 1, CAST(? AS INTEGER), CAST(? AS TEXT), "
                     "CAST(? AS TEXT) FROM AUTH_MAIN.ACTL_CollectionCriteria",
                     {std::to_string(criteria.collectionKey), criteria.json, criteria.objectType});
}

void CriteriaStore::forEach(const std::function<void(const std::string&, const std::string&,
                                                     const std::string&, const std::string&)>& take)
{
    database_.forEachRow("list the criteria",
                         "SELECT CAST(CriteriaID AS TEXT), CAST(CollectionKey AS TEXT), objectType, "
                         "CriteriaJson FROM AUTH_MAIN.ACTL_CollectionCriteria ORDER BY CriteriaID",
                         4, [&take](const Database::Texts& row) { take(row[0], row[1], row[2], row[3]); });
}

} // namespace keepsafe_sandbox
