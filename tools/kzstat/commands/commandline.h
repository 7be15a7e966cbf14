#ifndef KZSTATPROGRAM_COMMANDLINE_H
#define KZSTATPROGRAM_COMMANDLINE_H

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "commands/exitstatus.h"
#include "kzjournalerror.h"
#include "terminal/output.h"

// The parser's headers take the compiler longer than any command does: commandline.cpp alone
// includes them.
namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace kzstatprogram {

using kzterminal::Output;

/// What a command does once the command line has been read.
using Action = std::function<ExitStatus(Output&)>;

/// A mistake of the user's on the command line. An action may throw it too.
class UsageError : public kzjournal::Error {
public:
    using Error::Error;
    UsageError(const std::string& option, const std::string& mistake)
        : Error(option + ": " + mistake) {}
};

/// Declares more about an option or an argument. Belongs to the command line. Compatible.
class Option {
public:
    explicit Option(CLI::Option& option) : m_option(option) {}

    Option& Required();
    /// What the help calls its value.
    Option& ValueName(const char* name);
    Option& OneOf(const std::vector<std::string>& values);
    /// One of those that the help names, or another one that `admits` takes.
    Option& OneOf(const std::vector<std::string>& values,
                  const std::function<bool(const std::string&)>& admits);
    Option& Between(int least, int most);
    /// A finite number, not below 0.
    Option& NotNegative();
    /// A number of seconds, or of the unit that follows it: s, m or h.
    Option& Duration();
    /// An argument that takes that many values or more.
    Option& AtLeast(int values);
    /// An option that takes one value each time it is given, and keeps them all. Arguments may
    /// follow it.
    Option& Repeatable();
    /// Has the help show the value that the variable has now.
    Option& ShowsDefault();

private:
    CLI::Option& m_option;
};

/// Declares what one command takes. Belongs to the command line. Compatible.
class Command {
public:
    Command(CLI::App& app, Action& chosen, std::set<std::string>& commandsWithGroups)
        : m_app(app), m_chosen(chosen), m_commandsWithGroups(commandsWithGroups) {}

    // Each declares an option ("-o,--option") or an argument ("NAME"). Its variable is set by the
    // time that the action runs, and must live until then.
    Option Add(const char* names, std::string& value, const char* description);
    Option Add(const char* names, std::vector<std::string>& values, const char* description);
    Option Add(const char* names, int& value, const char* description);
    Option Add(const char* names, double& value, const char* description);
    Option Add(const char* names, std::optional<double>& value, const char* description);
    Option Add(const char* names, std::optional<std::string>& value, const char* description);
    void AddFlag(const char* name, bool& value, const char* description);
    /// Declares an argument of one value or more, in groups that "--" separates. Options may follow
    /// it.
    Option AddGroups(const char* name, std::vector<std::vector<std::string>>& groups,
                     const char* description);

    /// What the help ends with.
    void Footer(const char* text);
    void Does(Action action);

private:
    CLI::App& m_app;
    Action& m_chosen;
    std::set<std::string>& m_commandsWithGroups;
};

/// The command line of a program with commands, of which the user names one. Compatible.
class CommandLine {
public:
    CommandLine(const char* description, const char* program, const char* version);
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    Command AddCommand(const char* name, const char* description);

    /// Returns what the user asks for, help and version included. Throws UsageError.
    Action Parse(int argc, char** argv);

    /// What to tell the user of the mistake: it names the help of the command that was given.
    std::string Explain(const UsageError& error) const;

private:
    std::vector<std::string> WordsOf(int argc, char** argv) const;
    void CheckCommand(const std::string& given) const;

    const std::unique_ptr<CLI::App> m_app;
    Action m_chosen;
    std::set<std::string> m_commandsWithGroups;
};

}  // namespace kzstatprogram

#endif
