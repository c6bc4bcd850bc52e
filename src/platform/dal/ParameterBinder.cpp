#include <keepsafe/platform/dal/Dal.h>

#include <cstring>

namespace Tessara::Dal {
namespace {

constexpr DalOdbcView::BindingStruct END_OF_TABLE = {0, nullptr, 0, 0, 0};

} // namespace

ParameterBinder::ParameterBinder() : bindings_{END_OF_TABLE} {}
ParameterBinder::~ParameterBinder() = default;

void ParameterBinder::bindInputString(const char* text, int size, bool copy)
{
    std::size_t length = 0;
    if (text != nullptr && size == ZERO_TERMINATED) {
        length = std::strlen(text);
    } else if (text != nullptr && size >= 0) {
        length = static_cast<std::size_t>(size);
    }
    if (copy && text != nullptr) {
        copies_.push_back(std::make_unique<const std::string>(text, length));
        text = copies_.back()->c_str();
    }
    const auto number = static_cast<unsigned short>(bindings_.size());
    // A size that is neither is invalid: its kind is one that `Execute` rejects.
    const int kind = size >= 0 || size == ZERO_TERMINATED ? BINDING_INPUT : BINDING_RESULT;
    bindings_.back() = {number, "ptr", VALUE_TYPE_TEXT, 0, length, kind, SQL_TYPE_TEXT, text};
    bindings_.push_back(END_OF_TABLE);
}

const DalOdbcView::BindingStruct* ParameterBinder::get() const noexcept { return bindings_.data(); }

} // namespace Tessara::Dal
