#include "rows.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <typeinfo>

#include <boost/lexical_cast.hpp>

#include "CacheWalk.h"
#include "CanonicalText.h"
#include "ContinuedRow.h"
#include "InterleavedRow.h"
#include "RowDecision.h"
#include "ThreadCounts.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

using detail::CacheWalk;
using detail::ContinuedRow;
using detail::Deadline;
using detail::InterleavedRow;
using detail::RowDecision;
using detail::RowPiece;
using detail::RowQuestion;

/// Names whose texts are looked up at a time.
constexpr std::size_t CHUNK = 1024;

constexpr std::size_t CACHE_LINE = 64;
/// A text is fetched from memory while so many before it are looked at.
constexpr std::size_t TEXTS_AHEAD = 8;

/// How long a piece holds the lock, if one name is not longer. A writer has to wait for it, and for its turn.
constexpr std::chrono::microseconds LONGEST_HOLD{500};

bool isTextForm(std::string_view text) noexcept
{
    if (text.empty() || text.front() != '|' || text.back() != '|') {
        return false;
    }
    if (detail::isAllLiteral(text)) {
        return true;
    }
    detail::CanonicalText form;
    return std::all_of(text.begin(), text.end(),
                       [&form](char byte) { return form.add(static_cast<unsigned char>(byte)); });
}

void fetch(std::string_view text) noexcept
{
    __builtin_prefetch(text.data());
    if (text.size() > CACHE_LINE) {
        __builtin_prefetch(text.data() + CACHE_LINE);
    }
}

/// Asks the questions of several checkers about the names of a row.
class RowAsking {
public:
    RowAsking(const std::vector<RowChecker>& checkers, const Row& row)
        : row_(row), cache_(asDiskChecker(*checkers.front().checker)->accessCache())
    {
        for (const RowChecker& each : checkers) {
            const DiskAccessChecker& checker = *asDiskChecker(*each.checker);
            questions_.emplace_back(checker.roleIds(), checker.operation(), std::min(row.count, CHUNK));
            columns_.push_back(each.column);
        }
    }

    void askPerPiece()
    {
        for (std::size_t begin = 0; begin < row_.count;) {
            const std::size_t end = std::min(begin + CHUNK, row_.count);
            prepare(begin, end);
            while (begin < end) {
                const auto reader = cache_.lock();
                const Deadline deadline(Deadline::Clock::now() + LONGEST_HOLD);
                begin += ask(Hold::New, CacheWalk(reader), begin, end, deadline);
            }
        }
    }

    void askWholeRow()
    {
        prepare(0, row_.count);
        const auto reader = cache_.lock();
        for (std::size_t begin = 0; begin < row_.count;) {
            const std::size_t end = std::min(begin + CHUNK, row_.count);
            const Hold hold = begin == 0 ? Hold::New : Hold::Same;
            begin += ask(hold, CacheWalk(reader), begin, end, Deadline::never());
        }
    }

private:
    enum class Hold { New, Same }; ///< of the lock

    /// Everything that needs no lock: no text stands for one that is not a name.
    void prepare(std::size_t begin, std::size_t end)
    {
        texts_.clear();
        firstText_ = begin;
        for (std::size_t i = begin; i < end; ++i) {
            if (i + TEXTS_AHEAD < end) {
                row_.names.fetchText(i + TEXTS_AHEAD);
            }
            texts_.push_back(row_.names.textForm(i));
        }
    }

    /// Returns how many it has answered.
    std::size_t ask(Hold hold, const CacheWalk& walk, std::size_t begin, std::size_t end,
                    const Deadline& deadline)
    {
        if (hold == Hold::New) {
            for (RowQuestion& question : questions_) {
                question.forget();
            }
        }
        // `Answer` is a number of this type, and 0 and 1 are its denial and its permission.
        auto* const answers = reinterpret_cast<std::uint8_t*>(row_.answers + begin * row_.stride);
        const std::string_view* const texts = texts_.data() + (begin - firstText_);
        const RowPiece piece{texts, end - begin, answers, row_.stride, columns_.data()};
        const RowDecision decision(walk, questions_, piece);
        const std::size_t count = ContinuedRow::isWorthWhile(walk, piece)
                                      ? ContinuedRow(decision).run(deadline)
                                      : InterleavedRow(decision).run(deadline);
        walk.requireWhole();
        countAnswers(begin, count);
        markNoNames(texts, begin, count);
        return count;
    }

    void countAnswers(std::size_t begin, std::size_t count) const
    {
        std::size_t denials = 0;
        for (std::size_t i = begin; i < begin + count; ++i) {
            for (const std::size_t column : columns_) {
                denials += row_.answers[i * row_.stride + column] == Answer::Denied ? 1 : 0;
            }
        }
        detail::ThreadCounts& counts = detail::ThreadCounts::ofThisThread();
        detail::ThreadCounts::add(counts.checks, count * columns_.size());
        detail::ThreadCounts::add(counts.denials, denials);
    }

    void markNoNames(const std::string_view* texts, std::size_t begin, std::size_t count) const
    {
        for (std::size_t i = 0; i < count; ++i) {
            if (texts[i].empty()) {
                for (const std::size_t column : columns_) {
                    row_.answers[(begin + i) * row_.stride + column] = Answer::NotAName;
                }
            }
        }
    }

    const Row& row_;
    const AccessCache& cache_;
    std::vector<RowQuestion> questions_;
    std::vector<std::size_t> columns_;
    std::vector<std::string_view> texts_; ///< of the row's names from `firstText_` on
    std::size_t firstText_ = 0;
};

void denyAll(const Row& row) { std::fill_n(row.answers, row.count * row.stride, Answer::Denied); }

} // namespace

std::string_view RowNames::textForm(std::size_t index) const
{
    if (objects_ != nullptr) {
        const std::string& text = objects_[index].str();
        fetch(text);
        return text;
    }
    return isTextForm(texts_[index]) ? texts_[index] : std::string_view();
}

void RowNames::fetchText(std::size_t index) const noexcept
{
    if (texts_ != nullptr) {
        fetch(texts_[index]);
    }
}

ObjectNamespace RowNames::object(std::size_t index) const
{
    return objects_ != nullptr ? objects_[index] : boost::lexical_cast<ObjectNamespace>(texts_[index]);
}

const DiskAccessChecker* asDiskChecker(const AccessChecker& checker) noexcept
{
    return typeid(checker) == typeid(DiskAccessChecker) ? static_cast<const DiskAccessChecker*>(&checker)
                                                        : nullptr;
}

void askTogether(const std::vector<RowChecker>& checkers, const Row& row, RowState state)
{
    if (row.count == 0) {
        return;
    }
    try {
        RowAsking asking(checkers, row);
        if (state == RowState::WholeRow) {
            asking.askWholeRow();
        } else {
            asking.askPerPiece();
        }
    } catch (...) {
        detail::ThreadCounts& counts = detail::ThreadCounts::ofThisThread();
        detail::ThreadCounts::add(counts.checks);
        detail::ThreadCounts::add(counts.errors);
        denyAll(row);
        throw;
    }
}

void askAlone(const RowChecker& checker, const Row& row, RowState state)
{
    if (asDiskChecker(*checker.checker) != nullptr) {
        askTogether({checker}, row, state);
        return;
    }
    try {
        for (std::size_t i = 0; i < row.count; ++i) {
            Answer answer = Answer::NotAName;
            if (!row.names.textForm(i).empty()) {
                answer = checker.checker->checkAccess(row.names.object(i)) ? Answer::Allowed : Answer::Denied;
            }
            row.answers[i * row.stride + checker.column] = answer;
        }
    } catch (...) {
        denyAll(row);
        throw;
    }
}

} // namespace Tessara::Keepsafe::Rbac
