#include <exception>
#include <filesystem>
#include <iostream>
#include <list>
#include <set>
#include <string>

#include <boost/lexical_cast.hpp>
#include <boost/make_shared.hpp>

#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/rbac/api/Rbac2Json.h>
#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

using namespace Tessara::Keepsafe;
using namespace Tessara::Keepsafe::Rbac;

using DataList = std::list<boost::shared_ptr<ObjectRegistrationData>>;

/// What this program does about its objects: it makes a folder for each.
class Folders {
public:
    explicit Folders(std::filesystem::path above) : above_(std::move(above)) {}

    /// False when the folder is there already. Throws when it cannot be made, which counts as a failure too.
    bool make(const ObjectNamespace& object) const
    {
        return std::filesystem::create_directory(above_ / object.str());
    }

private:
    std::filesystem::path above_;
};

/// Makes the folder of one object, which is registered if that succeeds.
class MakeFolder : public ObjectRegistrationCallback {
public:
    MakeFolder(Folders folders, ObjectNamespace object)
        : folders_(std::move(folders)), object_(std::move(object))
    {
    }

    int invoke() override { return folders_.make(object_) ? 0 : 1; }
    void notifyFailure(int status) override { std::cerr << "not registered: " << getECmsg(status) << '\n'; }

private:
    Folders folders_;
    ObjectNamespace object_;
};

/// Makes the folders of many objects; those that succeed are registered.
class MakeFolders : public BulkObjectRegistrationCallback {
public:
    MakeFolders(Folders folders, DataList objects)
        : folders_(std::move(folders)), objects_(std::move(objects))
    {
    }

    int invoke(std::set<ObjectNamespace>& successful) override
    {
        for (const auto& object : objects_) {
            if (folders_.make(object->objectNamespace)) {
                successful.insert(object->objectNamespace);
            }
        }
        return 0;
    }
    void notifyFailure(int status) override { std::cerr << "none registered: " << getECmsg(status) << '\n'; }

private:
    Folders folders_;
    DataList objects_;
};

// registration ROOT FOLDER GRANTS OBJECT...: registers the objects, each with a folder below FOLDER. GRANTS
// is the JSON document that says what roles may do with them; {} grants nothing.
int main(int argc, char** argv)
try {
    if (argc < 5) {
        std::cerr << "usage: registration ROOT FOLDER GRANTS OBJECT...\n";
        return 2;
    }
    Platform::setInstallationRoot(argv[1]);
    const Folders folders(argv[2]);
    DataList objects;
    for (int i = 4; i < argc; ++i) {
        const auto data = boost::make_shared<ObjectRegistrationData>();
        data->objectNamespace = boost::lexical_cast<ObjectNamespace>(argv[i]);
        data->objectType = "FOLDER";
        data->accessControlAttributes = json_loads_shared(argv[3]);
        objects.push_back(data);
    }
    DefaultObjectRegistrationService service;
    int status = 0;
    if (objects.size() == 1) {
        const auto& data = objects.front();
        status = service.registerObject(data, boost::make_shared<MakeFolder>(folders, data->objectNamespace));
    } else {
        status = service.bulkRegisterObjects(objects, boost::make_shared<MakeFolders>(folders, objects));
    }
    std::cout << status << ' ' << getECmsg(status) << '\n';
    return status == 0 ? 0 : 3;
} catch (const std::exception& error) { // before anything was sent
    std::cerr << error.what() << '\n';
    return 1;
}
