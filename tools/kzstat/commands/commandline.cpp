#include "commands/commandline.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <limits>
#include <map>
#include <utility>

namespace kzstatprogram {
namespace {

/// Stands for "--" between groups, at which the parser would end the options. No argument of a
/// process has a zero byte.
const std::string kGroupEnd(1, '\0');

std::vector<std::vector<std::string>> GroupsOf(const std::vector<std::string>& words) {
    std::vector<std::vector<std::string>> groups(1);
    for (const std::string& word : words) {
        if (word == kGroupEnd)
            groups.emplace_back();
        else
            groups.back().push_back(word);
    }
    return groups;
}

Action Print(const std::string& text) {
    return [text](Output& output) {
        output.Write(text);
        return kDone;
    };
}

}  // namespace

Option& Option::Required() {
    m_option.required();
    return *this;
}

Option& Option::ValueName(const char* name) {
    m_option.type_name(name);
    return *this;
}

Option& Option::OneOf(const std::vector<std::string>& values) {
    m_option.check(CLI::IsMember(values));
    return *this;
}

Option& Option::OneOf(const std::vector<std::string>& values,
                      const std::function<bool(const std::string&)>& admits) {
    const CLI::Validator member = CLI::IsMember(values);
    m_option.check(CLI::Validator(
        [member, admits](std::string& value) { return admits(value) ? "" : member(value); },
        member.get_description()));
    return *this;
}

Option& Option::Between(int least, int most) {
    m_option.check(CLI::Range(least, most));
    return *this;
}

Option& Option::NotNegative() {
    m_option.check(CLI::Validator(
        [](const std::string& value) {
            double number = 0;
            const bool isNumber = CLI::detail::lexical_cast(value, number);
            // Not so of NaN.
            const bool isWithin = number >= 0 && number <= std::numeric_limits<double>::max();
            return isNumber && isWithin ? "" : "'" + value + "' is no number of at least 0";
        },
        ""));
    return *this;
}

Option& Option::Duration() {
    CLI::AsNumberWithUnit duration(std::map<std::string, double>{{"s", 1}, {"m", 60}, {"h", 3600}},
                                   CLI::AsNumberWithUnit::CASE_SENSITIVE);
    const auto read = [duration](std::string& value) {
        const std::string given = value;
        try {
            if (duration(value).empty()) return std::string();
        } catch (const CLI::ValidationError&) {
            // Its text is about units.
        }
        return "'" + given + "' is no time such as 90, 90s or 1.5m";
    };
    // The option names what it takes.
    m_option.transform(CLI::Validator(read, ""));
    return *this;
}

Option& Option::AtLeast(int values) {
    m_option.expected(values, -1);
    return *this;
}

Option& Option::Repeatable() {
    m_option.expected(1)->take_all()->allow_extra_args(false);
    return *this;
}

Option& Option::ShowsDefault() {
    m_option.capture_default_str();
    return *this;
}

Option Command::Add(const char* names, std::string& value, const char* description) {
    return Option(*m_app.add_option(names, value, description));
}

Option Command::Add(const char* names, std::vector<std::string>& values, const char* description) {
    return Option(*m_app.add_option(names, values, description));
}

Option Command::Add(const char* names, int& value, const char* description) {
    return Option(*m_app.add_option(names, value, description));
}

Option Command::Add(const char* names, double& value, const char* description) {
    return Option(*m_app.add_option(names, value, description));
}

Option Command::Add(const char* names, std::optional<double>& value, const char* description) {
    return Option(*m_app.add_option(names, value, description));
}

Option Command::Add(const char* names, std::optional<std::string>& value, const char* description) {
    // Not `add_option`, which takes an empty text for no value.
    return Option(*m_app.add_option_function<std::string>(
        names, [&value](const std::string& text) { value = text; }, description));
}

void Command::AddFlag(const char* name, bool& value, const char* description) {
    m_app.add_flag(name, value, description);
}

Option Command::AddGroups(const char* name, std::vector<std::vector<std::string>>& groups,
                          const char* description) {
    m_commandsWithGroups.insert(m_app.get_name());
    return Option(*m_app.add_option_function<std::vector<std::string>>(
        name, [&groups](const std::vector<std::string>& words) { groups = GroupsOf(words); },
        description));
}

void Command::Footer(const char* text) {
    m_app.footer(text);
}

void Command::Does(Action action) {
    m_app.final_callback([&chosen = m_chosen, action = std::move(action)] { chosen = action; });
}

CommandLine::CommandLine(const char* description, const char* program, const char* version)
    : m_app(std::make_unique<CLI::App>(description, program)) {
    m_app->require_subcommand(1);
    m_app->set_version_flag("--version", version);
}

CommandLine::~CommandLine() = default;

Command CommandLine::AddCommand(const char* name, const char* description) {
    return Command(*m_app->add_subcommand(name, description), m_chosen, m_commandsWithGroups);
}

void CommandLine::CheckCommand(const std::string& given) const {
    std::string known;
    for (const CLI::App* const each : m_app->get_subcommands({})) {
        if (each->get_name() == given) return;
        known.append(known.empty() ? "" : ", ").append(each->get_name());
    }
    throw UsageError((given.empty() ? "a command is missing" : "there is no command " + given) +
                     "; the commands are " + known);
}

Action CommandLine::Parse(int argc, char** argv) {
    const std::string first = argc > 1 ? argv[1] : "";
    if (!first.starts_with('-')) CheckCommand(first);
    try {
        m_app->parse(WordsOf(argc, argv));
        return m_chosen;
    } catch (const CLI::CallForHelp&) {
        return Print(m_app->help());
    } catch (const CLI::CallForVersion& version) {
        return Print(std::string(version.what()) + "\n");
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what());
    }
}

/// In the order that the parser takes: the last one first.
std::vector<std::string> CommandLine::WordsOf(int argc, char** argv) const {
    std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    if (!words.empty() && m_commandsWithGroups.count(words.front()) > 0)
        std::replace(words.begin(), words.end(), std::string("--"), kGroupEnd);
    std::reverse(words.begin(), words.end());
    return words;
}

std::string CommandLine::Explain(const UsageError& error) const {
    const auto given = m_app->get_subcommands();
    const std::string command = given.empty() ? "" : " " + given.front()->get_name();
    return std::string(error.what()) + " (see " + m_app->get_name() + command + " --help)";
}

}  // namespace kzstatprogram
