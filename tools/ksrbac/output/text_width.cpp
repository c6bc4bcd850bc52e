#include "output/text_width.h"

#include <algorithm>
#include <cstdint>

#include <clocale>
#include <cwchar>

#include <locale.h>

#include "printable.h"

namespace ksrbac {

namespace {

/// The calling thread's locale is one that knows all characters, whatever the environment says.
class UnicodeLocale {
public:
    UnicodeLocale() noexcept : before_(unicode() == nullptr ? nullptr : uselocale(unicode())) {}
    UnicodeLocale(const UnicodeLocale&) = delete;
    UnicodeLocale& operator=(const UnicodeLocale&) = delete;
    ~UnicodeLocale()
    {
        if (before_ != nullptr) {
            uselocale(before_);
        }
    }

private:
    static locale_t unicode() noexcept
    {
        static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return locale;
    }

    locale_t before_;
};

std::size_t columnsOf(std::uint32_t codePoint) noexcept
{
    const int columns = wcwidth(static_cast<wchar_t>(codePoint));
    return columns < 0 ? 1 : static_cast<std::size_t>(columns);
}

} // namespace

std::size_t columnsOf(std::string_view text) noexcept
{
    const bool isAscii =
        std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80U; });
    if (isAscii) {
        return text.size();
    }
    const UnicodeLocale locale;
    std::size_t columns = 0;
    while (!text.empty()) {
        std::uint32_t codePoint = 0;
        const std::size_t length = Tessara::Keepsafe::Process::decodeUtf8(text, codePoint);
        columns += length == 0 ? 1 : columnsOf(codePoint);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return columns;
}

} // namespace ksrbac
