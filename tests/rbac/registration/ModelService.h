#ifndef KEEPSAFE_TESTS_RBAC_REGISTRATION_MODELSERVICE_H
#define KEEPSAFE_TESTS_RBAC_REGISTRATION_MODELSERVICE_H

#include <functional>
#include <map>
#include <mutex>
#include <string>

#include <jansson.h>

#include "support/FakeHttpClients.h"

namespace keepsafe_test {

/// A service that keeps the states of objects, without network: registers objects with their children, all of
/// a request or none; changes states, all or none, an object's children with it; forgets what is deleted. Any
/// thread.
class ModelService : public FakeHttpClients {
public:
    enum class Fault {
        None,
        Refused,     ///< nothing done
        RequestLost, ///< nothing done; transfer status 7
        Thrown,      ///< nothing done; the client throws a std::runtime_error
        AnswerLost,  ///< done; transfer status 56
        AnsweredOk,  ///< done, but the HTTP status is 200
        Nonsense     ///< done, but the answer is not JSON
    };

    static constexpr int IS_THERE = 5930;
    static constexpr int NOT_THERE = 5931;
    static constexpr int REFUSED = 5999;

    /// Text form of each object and its state's name.
    [[nodiscard]] std::map<std::string, std::string> states() const;

    /// Asked at each request.
    std::function<Fault()> nextFault = [] { return Fault::None; };

private:
    struct Entry {
        std::string state;
        std::string owner; ///< the object that it is a child of, or itself
    };
    using Entries = std::map<std::string, Entry>;

    Response answer(const Request& request, int apiVersion) override;
    Response perform(const std::string& path, const std::string& body);
    static std::string registerOne(Entries& entries, json_t* record);
    static void update(Entries& entries, json_t* records);

    mutable std::mutex mutex_;
    Entries entries_;
};

} // namespace keepsafe_test

#endif
