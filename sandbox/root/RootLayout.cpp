#include "root/RootLayout.h"

#include <filesystem>

#include "errors/InputError.h"

namespace keepsafe_sandbox {

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

} // namespace keepsafe_sandbox
