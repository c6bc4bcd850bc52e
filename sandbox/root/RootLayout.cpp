#include "root/RootLayout.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "errors/InputError.h"

namespace keepsafe_sandbox {

using keepsafe_service::InputError;

RootLayout::RootLayout(const std::string& root)
{
    if (root.empty()) {
        throw InputError("the installation root is empty");
    }
    root_ = std::filesystem::absolute(root).lexically_normal().string();
    while (!root_.empty() && root_.back() == '/') {
        root_.pop_back();
    }
}

RootLayout existingRoot(const std::string& root)
{
    RootLayout layout(root);
    const std::string folder = layout.root() + "/";
    std::error_code failure;
    const auto status = std::filesystem::status(folder, failure);
    if (std::filesystem::is_directory(status)) {
        return layout;
    }
    const std::string what = "the installation root " + layout.root();
    if (status.type() == std::filesystem::file_type::not_found && failure.value() != ENOTDIR) {
        throw InputError(what + " is not there: run 'ksrbac-sandbox init --root " + layout.root() +
                         "' first");
    }
    throw InputError(what + " cannot be used: " +
                     (failure ? failure.message() : std::generic_category().message(ENOTDIR)));
}

} // namespace keepsafe_sandbox
