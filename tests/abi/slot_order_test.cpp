/// The slots of the interfaces' virtual functions: a program that was compiled against the headers calls by
/// them.

#include <cstddef>
#include <cstring>
#include <set>
#include <string>
#include <type_traits>

#include <boost/shared_ptr.hpp>
#include <gtest/gtest.h>

#include <keepsafe/dbaccess/RBACDbConnectionMgr.h>
#include <keepsafe/dbaccess/RBACDbQueryMgr.h>
#include <keepsafe/jwt/ValidatingJwtParser.h>
#include <keepsafe/platform/http/KSClientCURL.h>
#include <keepsafe/platform/log/log_sink.h>
#include <keepsafe/rbac/client/DiskAccessChecker.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>
#include <keepsafe/rbac/client/StubAccessControlClient.h>
#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

namespace {

using namespace Tessara::Keepsafe;
using namespace Tessara::Keepsafe::Rbac;

/// As the platform's C++ ABI has it, a pointer to a virtual function is the place of its slot plus one.
template <typename Function>
std::ptrdiff_t slotOf(Function function)
{
    static_assert(sizeof function == 2 * sizeof(std::ptrdiff_t));
    std::ptrdiff_t parts[2];
    std::memcpy(parts, &function, sizeof function);
    EXPECT_EQ(parts[0] % 2, 1) << "the function is not virtual";
    return (parts[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

/// A destructor has two slots. What comes after one that is declared first begins at this slot.
constexpr std::ptrdiff_t FIRST = 2;

template <typename Client>
using WithToken = int (Client::*)(Tessara::Dal::DbConnectionManager*, const std::string&,
                                  const ObjectNamespace&, int, boost::shared_ptr<const AccessChecker>&);
template <typename Client>
using WithRoles = int (Client::*)(const std::set<int>&, const ObjectNamespace&, int,
                                  boost::shared_ptr<const AccessChecker>&);

template <typename Client>
void expectClientSlots()
{
    EXPECT_EQ(slotOf(static_cast<WithToken<Client>>(&Client::createAccessChecker)), FIRST);
    EXPECT_EQ(slotOf(static_cast<WithRoles<Client>>(&Client::createAccessChecker)), FIRST + 1);
}

TEST(SlotOrder, OfClientsIsTokenThenRoles)
{
    expectClientSlots<AccessControlClient>();
    expectClientSlots<DiskAccessControlClient>();
    expectClientSlots<StubAccessControlClient>();
}

template <typename Checker>
using CheckAccess = bool (Checker::*)(const ObjectNamespace&) const;

TEST(SlotOrder, OfCheckersIsTheCheckAlone)
{
    EXPECT_EQ(slotOf(&AccessChecker::checkAccess), FIRST);
    EXPECT_EQ(slotOf(static_cast<CheckAccess<DiskAccessChecker>>(&DiskAccessChecker::checkAccess)), FIRST);
    EXPECT_EQ(slotOf(&ConstantAccessChecker<true>::checkAccess), FIRST);
}

TEST(SlotOrder, OfParsersIsTheParsingAlone)
{
    EXPECT_EQ(slotOf(&RBACJwtParser::parseJwt), FIRST);
    EXPECT_EQ(slotOf(&ValidatingJwtParser::parseJwt), FIRST);
}

template <typename QueryMgr>
void expectQuerySlots()
{
    EXPECT_EQ(slotOf(&QueryMgr::fetchCollectionCriteria), FIRST);
    EXPECT_EQ(slotOf(&QueryMgr::fetchAzToken), FIRST + 1);
}

TEST(SlotOrder, OfQueriesIsCriteriaThenToken)
{
    expectQuerySlots<RBACQueryMgr>();
    expectQuerySlots<RBACDbQueryMgr>();
    EXPECT_TRUE(std::has_virtual_destructor_v<RBACDbConnectionMgr>);
}

template <typename Client>
void expectHttpSlots()
{
    EXPECT_EQ(slotOf(&Client::Put), FIRST);
    EXPECT_EQ(slotOf(&Client::Post), FIRST + 1);
    EXPECT_EQ(slotOf(&Client::Patch), FIRST + 2);
    EXPECT_EQ(slotOf(&Client::Get), FIRST + 3);
    EXPECT_EQ(slotOf(&Client::Delete), FIRST + 4);
    EXPECT_EQ(slotOf(&Client::setApiVersion), FIRST + 5);
    EXPECT_EQ(slotOf(&Client::httpStatus), FIRST + 6);
    EXPECT_EQ(slotOf(&Client::responseBody), FIRST + 7);
    EXPECT_EQ(slotOf(&Client::failureReason), FIRST + 8);
}

TEST(SlotOrder, OfHttpClientsIsTheRequestsThenTheVersionThenTheAnswer)
{
    expectHttpSlots<KSClientCURL_Base>();
    expectHttpSlots<KSClientCURL>();
    EXPECT_EQ(slotOf(&KSClientCURL_BaseFactory::create), FIRST);
    EXPECT_EQ(slotOf(&KSClientCURLFactory::create), FIRST);
}

TEST(SlotOrder, OfRegistrationIsSingleThenBulkThenUnregistration)
{
    using Service = ObjectRegistrationService;
    EXPECT_EQ(slotOf(&Service::registerObject), FIRST);
    EXPECT_EQ(slotOf(&Service::bulkRegisterObjects), FIRST + 1);
    EXPECT_EQ(slotOf(&Service::unregisterObject), FIRST + 2);
    EXPECT_TRUE((std::is_base_of_v<Service, DefaultObjectRegistrationService>));
}

template <typename Callback>
void expectCallbackSlots()
{
    EXPECT_EQ(slotOf(&Callback::invoke), FIRST);
    EXPECT_EQ(slotOf(&Callback::notifyFailure), FIRST + 1);
}

TEST(SlotOrder, OfCallbacksIsTheWorkThenItsFailure)
{
    expectCallbackSlots<ObjectRegistrationCallback>();
    expectCallbackSlots<BulkObjectRegistrationCallback>();
    expectCallbackSlots<ObjectUnregistrationCallback>();
}

TEST(SlotOrder, OfLogSinksIsTheLineAlone) { EXPECT_EQ(slotOf(&Platform::LogSink::write), FIRST); }

} // namespace
