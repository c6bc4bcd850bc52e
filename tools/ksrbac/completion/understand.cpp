#include <algorithm>
#include <utility>

#include <CLI/CLI.hpp>
#include <boost/algorithm/string/predicate.hpp>

#include "cli/help_formatter.h"
#include "cli/option_tree.h"
#include "cli/text_layout.h"
#include "completion/Completion.h"

namespace ksrbac {

using boost::algorithm::starts_with;

namespace {

std::string onOneLine(std::string text)
{
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

/// Follows the words before the cursor through the tree of commands.
class Reading {
public:
    explicit Reading(const CLI::App& program) : command_(&program) {}

    void take(const std::string& word)
    {
        if (option_ != nullptr) {
            takeValue(*std::exchange(option_, nullptr), word);
        } else if (!areOptionsOver_ && word == "--") {
            areOptionsOver_ = true;
        } else if (!areOptionsOver_ && word.size() > 1 && word.front() == '-') {
            takeOption(word);
        } else if (const CLI::App* below = commandCalled(word)) {
            command_ = below;
        } else {
            ++operands_;
        }
    }

    [[nodiscard]] Question ask(const std::string& current) const
    {
        Question question = known_;
        question.value = current;
        const std::size_t equals = current.find('=');
        if (option_ != nullptr) {
            question.kind = option_->get_type_name();
        } else if (!areOptionsOver_ && starts_with(current, "--") && equals != std::string::npos) {
            const CLI::Option* const option = optionCalled(current.substr(0, equals));
            question.kind = option == nullptr ? "" : option->get_type_name();
            question.before = current.substr(0, equals + 1);
            question.value = current.substr(equals + 1);
        } else if (!areOptionsOver_ && starts_with(current, "-")) {
            question.words = options();
        } else if (const auto names = commands(); !names.empty()) {
            question.words = names;
        } else {
            question.kind = kindOfOperand();
        }
        return question;
    }

private:
    void takeOption(const std::string& word)
    {
        const std::size_t equals = word.find('=');
        const CLI::Option* const option = optionCalled(word.substr(0, equals));
        if (option == nullptr || !takesValue(*option)) {
            return;
        }
        if (equals == std::string::npos) {
            option_ = option;
        } else {
            takeValue(*option, word.substr(equals + 1));
        }
    }

    void takeValue(const CLI::Option& option, const std::string& value)
    {
        if (option.check_lname("root")) {
            known_.root = value;
        } else if (option.check_lname("cache")) {
            known_.cache = value;
        }
    }

    [[nodiscard]] const CLI::App* commandCalled(const std::string& word) const
    {
        for (const CLI::App* below : command_->get_subcommands([](const CLI::App*) { return true; })) {
            if (below->get_name() == word) {
                return below;
            }
        }
        return nullptr;
    }

    [[nodiscard]] const CLI::Option* optionCalled(const std::string& name) const
    {
        for (const CLI::App* app = command_; app != nullptr; app = app->get_parent()) {
            for (const CLI::Option* option : app->get_options()) {
                const bool isLong = starts_with(name, "--") && option->check_lname(name.substr(2));
                const bool isShort = name.size() == 2 && option->check_sname(name.substr(1));
                if (isLong || isShort) {
                    return option;
                }
            }
        }
        return nullptr;
    }

    [[nodiscard]] std::vector<Candidate> commands() const
    {
        std::vector<Candidate> names;
        for (const CLI::App* below : command_->get_subcommands([](const CLI::App*) { return true; })) {
            if (!below->get_group().empty()) { // not hidden
                names.push_back({below->get_name(), Description(below->get_description()).summary});
            }
        }
        return names;
    }

    [[nodiscard]] std::vector<Candidate> options() const
    {
        std::vector<Candidate> names;
        for (const CLI::App* app = command_; app != nullptr; app = app->get_parent()) {
            for (const CLI::Option* option : app->get_options()) {
                for (const std::string& name : option->get_lnames()) {
                    const bool isKnown = std::any_of(names.begin(), names.end(), [&](const Candidate& known) {
                        return known.text == "--" + name; // the command's own --help comes first
                    });
                    if (!isKnown) {
                        names.push_back({"--" + name, onOneLine(option->get_description())});
                    }
                }
            }
        }
        return names;
    }

    /// The last one may be repeated, if the command takes more than there are.
    [[nodiscard]] std::string kindOfOperand() const
    {
        std::vector<const CLI::Option*> operands =
            command_->get_options([](const CLI::Option* option) { return option->get_positional(); });
        if (operands.empty()) {
            return "";
        }
        const bool isRepeated = operands.back()->get_expected_max() > 1;
        if (operands_ >= operands.size() && !isRepeated) {
            return "";
        }
        return operands[std::min(operands_, operands.size() - 1)]->get_type_name();
    }

    const CLI::App* command_;
    const CLI::Option* option_ = nullptr; ///< whose value comes next
    bool areOptionsOver_ = false;
    std::size_t operands_ = 0;
    Question known_;
};

} // namespace

Question understand(const ShellWords& words, const CommandTable& commands)
{
    OptionTree tree(commands);
    Reading reading(tree.app());
    for (std::size_t i = 1; i < words.before.size(); ++i) {
        reading.take(words.before[i]);
    }
    return reading.ask(words.current);
}

} // namespace ksrbac
