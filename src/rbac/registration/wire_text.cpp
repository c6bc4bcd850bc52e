#include "wire_text.h"

#include <exception>
#include <new>

#include <jansson.h>

#include <keepsafe/rbac/api/Rbac2Json.h>

#include "documents.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

/// For Jansson, through which no exception may pass.
int appendPiece(const char* piece, std::size_t size, void* text) noexcept
{
    try {
        static_cast<std::string*>(text)->append(piece, size);
        return 0;
    } catch (const std::exception&) {
        return -1;
    }
}

/// Any value, printed as `json_dumps_shared` prints it inside a document.
void appendValue(std::string& text, const json_t* value)
{
    if (json_dump_callback(value, appendPiece, &text, JSON_COMPACT | JSON_ENSURE_ASCII | JSON_ENCODE_ANY) !=
        0) {
        throw std::bad_alloc();
    }
}

/// The text as a JSON string, with its quotation marks. `what` names it in a refusal.
std::string quoted(const std::string& value, const char* what)
{
    requireNoZeroByte(value, what);
    std::string text;
    appendValue(text, json_pack_shared("s", value.c_str()).get());
    return text;
}

/// The types of objects as JSON strings. Neighbours usually have the same type, which is then printed once.
class TypeText {
public:
    const std::string& of(const std::string& objectType)
    {
        if (text_.empty() || objectType != type_) {
            text_ = quoted(objectType, "objectType");
            type_ = objectType;
        }
        return text_;
    }

private:
    std::string type_;
    std::string text_;
};

void appendChildren(std::string& text, const std::list<ObjectNamespace>& children)
{
    const char* separator = "[\"";
    for (const ObjectNamespace& child : children) {
        text.append(separator).append(textOf(child)).append("\"");
        separator = ",\"";
    }
    text.append(children.empty() ? "[]" : "]");
}

void appendRecord(std::string& text, const boost::shared_ptr<ObjectRegistrationData>& given,
                  Attributes attributes, TypeText& types)
{
    requireComplete(given.get());
    const ObjectRegistrationData& data = *given;
    text.append(R"({"id":")").append(textOf(data.objectNamespace));
    text.append(R"(","type":"objectRegistrationData","attributes":{"objectType":)");
    text.append(types.of(data.objectType));
    text.append(R"(,"ignoreAlreadyRegistered":)").append(data.ignoreAlreadyRegistered ? "true" : "false");
    text.append(R"(,"accessControlAttributes":)");
    if (attributes == Attributes::Written) {
        appendValue(text, data.accessControlAttributes.get());
    } else {
        text.append("null");
    }
    text.append(R"(,"relativeChildNamespaces":)");
    appendChildren(text, data.relativeChildNamespaces);
    text.append("}}");
}

/// Makes room for what `appendStates` appends: a text that grows to megabytes step by step is copied each
/// time.
void makeRoom(std::string& text, const std::list<ObjectNamespace>& objects)
{
    constexpr std::size_t AROUND_NAME = sizeof R"({"objectId":"","state":"PENDING"},)";
    std::size_t room = text.size();
    for (const ObjectNamespace& object : objects) {
        room += AROUND_NAME + textOf(object).size();
    }
    text.reserve(room);
}

/// `state`: a JSON string.
void appendState(std::string& text, const ObjectNamespace& object, const std::string& state)
{
    text.append(R"({"objectId":")").append(textOf(object)).append(R"(","state":)").append(state).append("}");
}

void appendStates(std::string& text, const std::list<ObjectNamespace>& objects, const std::string& name)
{
    makeRoom(text, objects);
    const std::string state = '"' + name + '"';
    for (const ObjectNamespace& object : objects) {
        text.append(text.back() == '[' ? "" : ",");
        appendState(text, object, state);
    }
}

} // namespace

std::string recordText(const boost::shared_ptr<ObjectRegistrationData>& data, Attributes attributes)
{
    std::string text;
    TypeText types;
    appendRecord(text, data, attributes, types);
    return text;
}

std::string registrationText(const boost::shared_ptr<ObjectRegistrationData>& data, Attributes attributes)
{
    return R"({"data":)" + recordText(data, attributes) + '}';
}

std::string stateText(const ObjectNamespace& objectNamespace, const std::string& state)
{
    std::string text;
    appendState(text, objectNamespace, quoted(state, "state"));
    return text;
}

std::string bulkRegistrationText(const DefaultObjectRegistrationService::DataList& data,
                                 Attributes attributes)
{
    constexpr std::size_t USUAL_RECORD = 512;
    std::string text = R"({"data":[)";
    text.reserve(text.size() + data.size() * USUAL_RECORD);
    TypeText types;
    const char* separator = "";
    for (const boost::shared_ptr<ObjectRegistrationData>& object : data) {
        text.append(separator);
        appendRecord(text, object, attributes, types);
        separator = ",";
    }
    return text.append("]}");
}

std::string bulkStateUpdateText(const std::list<ObjectNamespace>& ready,
                                const std::list<ObjectNamespace>& pending,
                                const std::list<ObjectNamespace>& deleted)
{
    std::string text =
        R"({"data":{"type":"managedObjectUpdate","attributes":{"managedObjectsWithAttributes":[)";
    appendStates(text, ready, READY_STR);
    appendStates(text, pending, PENDING_STR);
    appendStates(text, deleted, DELETED_STR);
    return text.append("]}}}");
}

} // namespace Tessara::Keepsafe::Rbac
