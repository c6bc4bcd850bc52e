/// Texts that callers free with `free` do not come from `new`. The allocation functions of the language here
/// note what they give, and can give nothing.

#include <keepsafe/jwt/JWT.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include <keepsafe/jwt/extract_subject.h>

#include "jwt/keys.h"

namespace {

/// The latest blocks that `new` gave and `delete` has not taken back.
std::array<void*, 4096> given{};
bool isMissing = false; ///< all memory

void note(void* before, void* after)
{
    const auto place = std::find(given.begin(), given.end(), before);
    if (place != given.end()) {
        *place = after;
    }
}

} // namespace

void* operator new(std::size_t size)
{
    void* const block = isMissing ? nullptr : std::malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    note(nullptr, block);
    return block;
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    void* const block = isMissing ? nullptr : std::malloc(size);
    note(nullptr, block);
    return block;
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void operator delete(void* block) noexcept
{
    if (block != nullptr) {
        note(block, nullptr);
    }
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept { operator delete(block); }
void operator delete[](void* block) noexcept { operator delete(block); }
void operator delete[](void* block, std::size_t) noexcept { operator delete(block); }

namespace {

bool isFromNew(const char* text) { return std::find(given.begin(), given.end(), text) != given.end(); }

TEST(TextsForCallers, ComeFromMalloc)
{
    const std::string token = keepsafe_test::unsignedToken(R"({"sub":"a:b:c","is_machine":"false"})");
    std::array<char*, 5> texts{};
    texts[0] = Tessara::Keepsafe::JWT::extractSubject(token);
    extractSubject_C(token.c_str(), &texts[1], &texts[2], &texts[3]);
    extractSubjectNT_C(token.c_str(), &texts[4]);
    for (char* const text : texts) {
        ASSERT_NE(text, nullptr);
        EXPECT_FALSE(isFromNew(text)) << text;
        std::free(text);
    }
    const std::unique_ptr<char[]> other(new char[10]);
    EXPECT_TRUE(isFromNew(other.get())) << "the functions above are those that are called";
}

TEST(TextsForCallers, AreNotMadeWithoutMemory)
{
    const std::string token = keepsafe_test::unsignedToken(R"({"sub":"a:b:c","is_machine":"false"})");
    std::array<char*, 4> texts{};
    isMissing = true;
    extractSubject_C(token.c_str(), &texts[0], &texts[1], &texts[2]);
    extractSubjectNT_C(token.c_str(), &texts[3]);
    isMissing = false;
    EXPECT_EQ(texts, (std::array<char*, 4>{}));
}

} // namespace
