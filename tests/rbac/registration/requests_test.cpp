/// The documents that are sent, to the byte.

#include "RegistrationTest.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::DefaultObjectRegistrationService;
using Tessara::Keepsafe::Rbac::json_dumps_shared;
using Tessara::Keepsafe::Rbac::json_pack_shared;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using testing::ElementsAre;

using Service = DefaultObjectRegistrationService;

std::string textOf(const boost::shared_ptr<json_t>& document) { return json_dumps_shared(document).get(); }

TEST(Requests, ARecordHoldsWhatTheCallerDescribes)
{
    const auto data = dataOf(ObjectNamespace("A", "b c|"));
    data->objectType = "storage \"unit\"";
    data->ignoreAlreadyRegistered = true;
    data->accessControlAttributes = json_pack_shared("{s:[i,n]}", "x", 1);
    data->relativeChildNamespaces = {ObjectNamespace("C", "D"), ObjectNamespace("E")};
    EXPECT_EQ(textOf(Service::buildRegistrationJSON(data)),
              R"({"id":"|A|b+c%7C|","type":"objectRegistrationData","attributes":{)"
              R"("objectType":"storage \"unit\"","ignoreAlreadyRegistered":true,)"
              R"("accessControlAttributes":{"x":[1,null]},"relativeChildNamespaces":["|C|D|","|E|"]}})");
}

TEST(Requests, ARecordWithoutChildrenHasAnEmptyList)
{
    EXPECT_EQ(textOf(Service::buildRegistrationJSON(dataOf(ObjectNamespace("A")))),
              R"({"id":"|A|","type":"objectRegistrationData","attributes":{"objectType":"POLICY",)"
              R"("ignoreAlreadyRegistered":false,"accessControlAttributes":{},)"
              R"("relativeChildNamespaces":[]}})");
}

TEST(Requests, AccessControlAttributesAreTheCallersValueAndGoBack)
{
    const auto data = dataOf(ObjectNamespace("A"));
    const std::size_t references = data->accessControlAttributes->refcount;
    {
        const auto record = Service::buildRegistrationJSON(data);
        json_t* const attributes = json_object_get(record.get(), "attributes");
        EXPECT_EQ(json_object_get(attributes, "accessControlAttributes"),
                  data->accessControlAttributes.get());
        EXPECT_EQ(data->accessControlAttributes->refcount, references + 1);
    }
    EXPECT_EQ(data->accessControlAttributes->refcount, references);
}

TEST(Requests, ASingleRegistrationIsOneRecordUnderData)
{
    EXPECT_EQ(textOf(Service::buildRegistrationRequest(dataOf(ObjectNamespace("A")))),
              R"({"data":{"id":"|A|","type":"objectRegistrationData","attributes":{"objectType":"POLICY",)"
              R"("ignoreAlreadyRegistered":false,"accessControlAttributes":{},)"
              R"("relativeChildNamespaces":[]}}})");
}

TEST(Requests, ABulkRegistrationIsAListOfRecordsInOrder)
{
    const std::string attributes = R"("type":"objectRegistrationData","attributes":{"objectType":"POLICY",)"
                                   R"("ignoreAlreadyRegistered":false,"accessControlAttributes":{},)"
                                   R"("relativeChildNamespaces":[]})";
    EXPECT_EQ(
        textOf(Service::buildBulkRegistrationRequest(
            {dataOf(ObjectNamespace("B")), dataOf(ObjectNamespace("A")), dataOf(ObjectNamespace("B"))})),
        R"({"data":[{"id":"|B|",)" + attributes + R"(},{"id":"|A|",)" + attributes + R"(},{"id":"|B|",)" +
            attributes + "}]}");
    EXPECT_EQ(textOf(Service::buildBulkRegistrationRequest({})), R"({"data":[]})");
}

TEST(Requests, AStateUpdateRecordIsNameAndState)
{
    EXPECT_EQ(textOf(Service::buildNamespaceStatePair(ObjectNamespace("A", "é"), "PENDING")),
              R"({"objectId":"|A|%C3%A9|","state":"PENDING"})");
}

TEST(Requests, AStateUpdateListsReadyThenPendingThenDeleted)
{
    EXPECT_EQ(textOf(Service::buildBulkStateUpdateRequest({ObjectNamespace("Z")}, {ObjectNamespace("P")},
                                                          {ObjectNamespace("D"), ObjectNamespace("A")})),
              R"({"data":{"type":"managedObjectUpdate","attributes":{"managedObjectsWithAttributes":[)"
              R"({"objectId":"|Z|","state":"READY"},{"objectId":"|P|","state":"PENDING"},)"
              R"({"objectId":"|D|","state":"DELETED"},{"objectId":"|A|","state":"DELETED"}]}}})");
    EXPECT_EQ(textOf(Service::buildBulkStateUpdateRequest({}, {}, {})),
              R"({"data":{"type":"managedObjectUpdate","attributes":{"managedObjectsWithAttributes":[]}}})");
}

/// What the service sends in bulk is written without the builders' trees.
class SentRequests : public RegistrationTest {
protected:
    std::string takeSent()
    {
        std::string body = scripted_->requests.at(0).body;
        scripted_->requests.clear();
        return body;
    }

    static Service::DataList unusualObjects()
    {
        Service::DataList objects;
        for (const char* attributes :
             {R"([{"a":[{},[],"\u00e9\u0001\"\\/",1.5,-7,true,null]},{}])", "[[]]"}) {
            for (const char* type : {"", "\xC3\xA9 \"\\/\x01\x7F", "POLICY"}) {
                const auto data = dataOf(ObjectNamespace(std::string("\0 \"\\\xFF", 5), ""));
                data->accessControlAttributes = Tessara::Keepsafe::Rbac::json_loads_shared(attributes);
                data->objectType = type;
                data->ignoreAlreadyRegistered = objects.size() % 2 == 0;
                data->relativeChildNamespaces.assign(objects.size() % 3, ObjectNamespace("C", "\n|"));
                objects.push_back(data);
            }
        }
        objects.front()->accessControlAttributes = Tessara::Keepsafe::Rbac::json_string_shared("no object");
        return objects;
    }
};

TEST_F(SentRequests, NameTheTypeOfEachObject)
{
    Service::DataList objects;
    std::string expected;
    for (const char* const type : {"POLICY", "DOMAIN", "DOMAIN", "", "POLICY"}) {
        objects.push_back(dataOf(ObjectNamespace("A")));
        objects.back()->objectType = type;
        expected += (expected.empty() ? "" : ",") + textOf(Service::buildRegistrationJSON(objects.back()));
    }
    respond(201, R"({"data":[]})");
    (void)service().bulkRegisterObjectsWithStatePending(objects);
    EXPECT_EQ(takeSent(), R"({"data":[)" + expected + "]}");
}

TEST_F(SentRequests, EqualTheBuiltRegistrations)
{
    for (const Service::DataList& objects : {unusualObjects(), Service::DataList{}}) {
        respond(201, R"({"data":[]})");
        (void)service().bulkRegisterObjectsWithStatePending(objects);
        EXPECT_EQ(takeSent(), textOf(Service::buildBulkRegistrationRequest(objects)));
    }
}

TEST_F(SentRequests, EqualTheBuiltUpdates)
{
    const std::list<ObjectNamespace> none;
    const std::list<ObjectNamespace> some{ObjectNamespace(), ObjectNamespace("[", "\xFF"),
                                          ObjectNamespace("A")};
    for (int lists = 0; lists < 8; ++lists) {
        const auto& ready = (lists & 1) != 0 ? some : none;
        const auto& pending = (lists & 2) != 0 ? some : none;
        const auto& deleted = (lists & 4) != 0 ? some : none;
        respond(201, "");
        service().bulkUpdateObjectState(ready, pending, deleted);
        EXPECT_EQ(takeSent(), textOf(Service::buildBulkStateUpdateRequest(ready, pending, deleted)));
    }
}

TEST_F(SentRequests, AreRefusedAsTheBuiltOnesAre)
{
    const auto data = dataOf(ObjectNamespace("A"));
    data->objectType = "\xFF";
    EXPECT_THROW((void)service().bulkRegisterObjectsWithStatePending({data}), std::bad_alloc);
    EXPECT_THAT(log_.lines(),
                ElementsAre(LogLine{16, "json_pack_shared", "Error generating JSON: Invalid UTF-8 string"}));
    const auto circle = dataOf(ObjectNamespace("A"));
    json_t* const inner = json_array();
    json_object_set(circle->accessControlAttributes.get(), "inner", inner);
    json_array_append(inner, circle->accessControlAttributes.get());
    EXPECT_THROW((void)service().bulkRegisterObjectsWithStatePending({circle}), std::bad_alloc);
    json_array_clear(inner);
    json_decref(inner);
    EXPECT_EQ(thrownStatus([this] { (void)service().bulkRegisterObjectsWithStatePending({nullptr}); }), 20);
}

TEST(Requests, TextThatIsNotUtf8IsRefused)
{
    const CapturedLog log;
    const auto data = dataOf(ObjectNamespace("A"));
    data->objectType = "\xFF";
    EXPECT_THROW((void)Service::buildRegistrationRequest(data), std::bad_alloc);
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{16, "json_pack_shared", "Error generating JSON: Invalid UTF-8 string"}));
}

constexpr char BUILD_TAG[] = "DefaultObjectRegistrationService::buildRegistrationJSON";

TEST(Requests, ARecordOfNothingIsRefused)
{
    const CapturedLog log;
    EXPECT_EQ(thrownStatus([] { (void)Service::buildRegistrationRequest(nullptr); }), 20);
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{16, BUILD_TAG, "ObjectRegistrationData is required"}));
}

TEST(Requests, ARecordWithoutAttributesCannotBePacked)
{
    const CapturedLog log;
    const auto incomplete = dataOf(ObjectNamespace("A"));
    incomplete->accessControlAttributes.reset();
    EXPECT_THROW((void)Service::buildRegistrationJSON(incomplete), std::bad_alloc);
    EXPECT_THROW((void)Service::buildRegistrationRequest(incomplete), std::bad_alloc);
    EXPECT_THROW((void)Service::buildBulkRegistrationRequest({incomplete}), std::bad_alloc);
    const LogLine line{16, "json_pack_shared", "Error generating JSON: NULL object"};
    EXPECT_THAT(log.lines(), ElementsAre(line, line, line));
}

TEST(Requests, AZeroByteIsRefusedAndNotTheEndOfATextThatIsSent)
{
    const CapturedLog log;
    const std::string cut("POLICY\0X", 8);
    const auto data = dataOf(ObjectNamespace("A"));
    data->objectType = cut;
    EXPECT_EQ(thrownStatus([&] { (void)Service::buildRegistrationRequest(data); }), 20);
    EXPECT_EQ(thrownStatus([&] { (void)Service::buildBulkRegistrationRequest({data}); }), 20);
    EXPECT_EQ(thrownStatus([&] { (void)Service::buildNamespaceStatePair(ObjectNamespace("A"), cut); }), 20);
    const LogLine type{16, BUILD_TAG, "objectType contains a zero byte"};
    EXPECT_THAT(log.lines(), ElementsAre(type, type, LogLine{16, BUILD_TAG, "state contains a zero byte"}));
}

} // namespace
} // namespace keepsafe_test
