#include <keepsafe/rbac/questions/bulk_check.h>

#include <utility>

#include "rows.h"

namespace Tessara::Keepsafe::Rbac {

void checkRow(const AccessChecker& checker, const ObjectNamespace* objects, std::size_t count,
              Answer* answers, RowState state)
{
    askAlone({&checker, 0}, {RowNames(objects), count, answers, 1}, state);
}

void checkRow(const AccessChecker& checker, const std::string_view* texts, std::size_t count, Answer* answers,
              RowState state)
{
    askAlone({&checker, 0}, {RowNames(texts), count, answers, 1}, state);
}

std::vector<Answer> checkRow(const AccessChecker& checker, const std::vector<ObjectNamespace>& objects,
                             RowState state)
{
    std::vector<Answer> answers(objects.size());
    checkRow(checker, objects.data(), objects.size(), answers.data(), state);
    return answers;
}

std::vector<Answer> checkRow(const AccessChecker& checker, const std::vector<std::string_view>& texts,
                             RowState state)
{
    std::vector<Answer> answers(texts.size());
    checkRow(checker, texts.data(), texts.size(), answers.data(), state);
    return answers;
}

void keepAllowed(const AccessChecker& checker, std::vector<ObjectNamespace>& objects, RowState state)
{
    const std::vector<Answer> answers = checkRow(checker, objects, state);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < objects.size(); ++i) {
        if (answers[i] == Answer::Allowed) {
            if (kept != i) {
                objects[kept] = std::move(objects[i]);
            }
            ++kept;
        }
    }
    objects.resize(kept);
}

} // namespace Tessara::Keepsafe::Rbac
