#include "resources/Filter.h"

#include <algorithm>

#include "accesscontrol/Refusal.h"
#include "resources/RequestTarget.h"

namespace keepsafe_service {

class Filter::Parser {
public:
    Parser(const std::string& text, const std::vector<std::string>& fields) : text_(text), fields_(fields) {}

    std::vector<Condition> parse()
    {
        std::vector<Condition> conditions = {condition()};
        skipSpace();
        while (position_ < text_.size()) {
            expectWord("and");
            conditions.push_back(condition());
            skipSpace();
        }
        return conditions;
    }

private:
    static bool isSpace(char c) { return c == ' ' || c == '\t'; }
    static bool isWordCharacter(char c)
    {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
    }

    [[noreturn]] void fail(std::size_t position, const std::string& what) const
    {
        throw Refusal(Refusal::Malformed,
                      "filter: position " + std::to_string(position + 1) + ": expected " + what);
    }

    void skipSpace()
    {
        while (position_ < text_.size() && isSpace(text_[position_])) {
            ++position_;
        }
    }

    std::string word(const char* what)
    {
        skipSpace();
        const std::size_t begin = position_;
        while (position_ < text_.size() && isWordCharacter(text_[position_])) {
            ++position_;
        }
        if (position_ == begin) {
            fail(begin, what);
        }
        return text_.substr(begin, position_ - begin);
    }

    void expectWord(const char* expected)
    {
        const std::string what = std::string("'") + expected + "'";
        skipSpace();
        const std::size_t begin = position_;
        if (word(what.c_str()) != expected) {
            fail(begin, what);
        }
    }

    void expectCharacter(char expected)
    {
        skipSpace();
        if (position_ == text_.size() || text_[position_] != expected) {
            fail(position_, std::string("'") + expected + "'");
        }
        ++position_;
    }

    std::string literal()
    {
        skipSpace();
        if (position_ == text_.size() || text_[position_] != '\'') {
            fail(position_, "a text in single quotes");
        }
        ++position_;
        std::string value;
        for (;;) {
            const std::size_t quote = text_.find('\'', position_);
            if (quote == std::string::npos) {
                fail(text_.size(), "a single quote that ends the text");
            }
            value.append(text_, position_, quote - position_);
            position_ = quote + 1;
            if (position_ == text_.size() || text_[position_] != '\'') {
                return value;
            }
            value += '\'';
            ++position_;
        }
    }

    std::size_t fieldOf(const std::string& name) const
    {
        const auto found = std::find(fields_.begin(), fields_.end(), name);
        if (found == fields_.end()) {
            std::string known;
            for (const std::string& field : fields_) {
                known += (known.empty() ? "" : ", ") + field;
            }
            throw Refusal(Refusal::Invalid,
                          "filter: the field " + shown(name) + " is not known; known are " + known);
        }
        return static_cast<std::size_t>(found - fields_.begin());
    }

    bool opensCall()
    {
        skipSpace();
        return position_ < text_.size() && text_[position_] == '(';
    }

    Condition condition()
    {
        skipSpace();
        const std::size_t begin = position_;
        const std::string first = word("a field or a function");
        Condition result;
        if (!opensCall()) {
            result.field = fieldOf(first);
            expectWord("eq");
            result.literal = literal();
            return result;
        }
        if (first != "contains" && first != "startswith") {
            fail(begin, "one of the functions 'contains' and 'startswith'");
        }
        result.test = first == "contains" ? Test::Contains : Test::StartsWith;
        expectCharacter('(');
        result.field = fieldOf(word("a field"));
        expectCharacter(',');
        result.literal = literal();
        expectCharacter(')');
        return result;
    }

    const std::string& text_;
    const std::vector<std::string>& fields_;
    std::size_t position_ = 0;
};

Filter Filter::parse(const std::string& text, const std::vector<std::string>& fields)
{
    Filter filter;
    filter.conditions_ = Parser(text, fields).parse();
    return filter;
}

bool Filter::matches(const std::function<std::string(std::size_t)>& valueOf) const
{
    return std::all_of(conditions_.begin(), conditions_.end(), [&valueOf](const Condition& condition) {
        const std::string value = valueOf(condition.field);
        switch (condition.test) {
        case Test::Equals:
            return value == condition.literal;
        case Test::Contains:
            return value.find(condition.literal) != std::string::npos;
        case Test::StartsWith:
            return value.compare(0, condition.literal.size(), condition.literal) == 0;
        }
        return false;
    });
}

} // namespace keepsafe_service
