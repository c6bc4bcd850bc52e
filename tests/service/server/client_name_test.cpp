#include "server/client_name.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace {

using keepsafe_service::MOST_CLIENT_NAME_BYTES;
using keepsafe_service::nameText;

class Name {
public:
    Name& add(const char* part, const std::string& text, int type = V_ASN1_UTF8STRING)
    {
        EXPECT_EQ(X509_NAME_add_entry_by_txt(name_.get(), part, type,
                                             reinterpret_cast<const unsigned char*>(text.data()),
                                             static_cast<int>(text.size()), -1, 0),
                  1);
        return *this;
    }
    [[nodiscard]] std::string text() const { return nameText(*name_); }

private:
    std::unique_ptr<X509_NAME, decltype(&X509_NAME_free)> name_{X509_NAME_new(), X509_NAME_free};
};

TEST(ClientName, HasTheLastPartFirst)
{
    EXPECT_EQ(Name().add("C", "DE").add("O", "Example").add("CN", "backup-01").text(),
              "CN=backup-01,O=Example,C=DE");
    EXPECT_EQ(Name().text(), "");
}

TEST(ClientName, EscapesWhatSeparatesParts)
{
    EXPECT_EQ(Name().add("CN", "a,O=b+c\"\\<>;").text(), "CN=a\\,O=b\\+c\\\"\\\\\\<\\>\\;");
    EXPECT_EQ(Name().add("CN", " #a ").text(), "CN=\\ #a\\ ");
}

TEST(ClientName, IsUtf8WhateverTheCertificateHas)
{
    EXPECT_EQ(Name().add("CN", "Prüfer €").text(), "CN=Prüfer €");
    EXPECT_EQ(Name().add("CN", std::string("\0P\0\xFC", 4), V_ASN1_BMPSTRING).text(), "CN=Pü");
    EXPECT_EQ(Name().add("O", "ü").add("CN", "\xFF").text(), "CN=\\FF,O=\\C3\\BC");
}

TEST(ClientName, HasNoControlCharacters)
{
    EXPECT_EQ(Name().add("CN", std::string("a\n\x1b[2J\0b", 8)).text(), "CN=a\\0A\\1B[2J\\00b");
}

TEST(ClientName, IsCutBetweenCharacters)
{
    std::string longText;
    for (int i = 0; i < 1000; ++i) {
        longText += "ü";
    }
    const std::string text = Name().add("CN", longText).text();
    EXPECT_EQ(text.substr(text.size() - 5), "ü...");
    EXPECT_GE(text.size(), MOST_CLIENT_NAME_BYTES - 2);
    EXPECT_LE(text.size(), MOST_CLIENT_NAME_BYTES);
}

} // namespace
