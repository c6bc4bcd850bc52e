#include <iostream>
#include <memory>

#include "commands/commands.h"
#include "criteria/CriteriaStore.h"
#include "database/Database.h"
#include "input/read_input.h"
#include "root/configuration.h"
#include "json/Element.h"

namespace keepsafe_sandbox {

using keepsafe_service::Database;
using keepsafe_service::quoted;

namespace {

struct AddOptions {
    std::string root;
    std::int32_t collectionKey = 0;
    std::string objectType;
    std::string jsonFile;
};

void add(const AddOptions& options)
{
    Criteria criteria;
    criteria.collectionKey = options.collectionKey;
    criteria.objectType = options.objectType;
    // More than the limit, so that the store can say by how much it is exceeded.
    criteria.json = readTrimmedInput(options.jsonFile, 2 * CriteriaStore::MOST_DOCUMENT_BYTES);
    Database database(loadDatabaseSettings(existingRoot(options.root)));
    CriteriaStore(database).add(criteria);
    std::cout << "added criteria of " << criteria.json.size() << " bytes to the collection "
              << criteria.collectionKey << " for " << quoted(criteria.objectType) << '\n';
}

void listCriteria(const std::string& root)
{
    Database database(loadDatabaseSettings(existingRoot(root)));
    CriteriaStore(database).forEach(
        [](const std::string& id, const std::string& key, const std::string& type, const std::string& json) {
            std::cout << "criteria " << id << ", collection " << key << ", " << quoted(type) << ": "
                      << quoted(json) << '\n';
        });
}

void addAdd(CLI::App& parent)
{
    const auto options = std::make_shared<AddOptions>();
    CLI::App* command = parent.add_subcommand("add", "Add a criteria document to a collection");
    command->add_option("--root", options->root, "Installation root")->required()->type_name("DIR");
    command->add_option("--collection", options->collectionKey, "Key of the collection")
        ->required()
        ->type_name("KEY");
    command->add_option("--object-type", options->objectType, "Type of objects that it is about")
        ->required()
        ->type_name("TYPE");
    command->add_option("--json", options->jsonFile, "File with the document; - is standard input")
        ->required()
        ->type_name("FILE|-");
    command->footer("Example:\n"
                    "  echo '{\"name\": \"web-*\"}' | ksrbac-sandbox criteria add --root /tmp/ks "
                    "--collection 42 --object-type VM --json -");
    command->callback([options] { add(*options); });
}

void addCriteriaList(CLI::App& parent)
{
    const auto root = std::make_shared<std::string>();
    CLI::App* command = parent.add_subcommand("list", "List the criteria");
    command->add_option("--root", *root, "Installation root")->required()->type_name("DIR");
    command->footer("Example:\n"
                    "  ksrbac-sandbox criteria list --root /tmp/ks");
    command->callback([root] { listCriteria(*root); });
}

} // namespace

void addCriteriaCommand(CLI::App& program)
{
    CLI::App* command = program.add_subcommand("criteria", "The criteria documents of collections");
    command->require_subcommand(1);
    command->footer("Example:\n"
                    "  ksrbac-sandbox criteria list --root /tmp/ks");
    addAdd(*command);
    addCriteriaList(*command);
}

} // namespace keepsafe_sandbox
