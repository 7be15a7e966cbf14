#include <CLI/CLI.hpp>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <exception>

#include "commands.h"

namespace kzstat {
namespace {

ExitStatus Complain(const char* text) {
    std::fprintf(stderr, "kzstat: %s\n", text);
    return kFailed;
}

ExitStatus ComplainAboutUsage(const CLI::App& app, const CLI::ParseError& error) {
    const auto chosen = app.get_subcommands();
    const std::string command = chosen.empty() ? "" : " " + chosen.front()->get_name();
    return Complain((std::string(error.what()) + " (see kzstat" + command + " --help)").c_str());
}

ExitStatus Run(int argc, char** argv) {
    CLI::App app("Shows, checks, compares and exports the statistics that a journal keeps.",
                 "kzstat");
    app.require_subcommand(1);
    app.set_version_flag("--version", "kzstat " KZSTAT_VERSION);
    Action action;
    DeclareCommands(app, action);
    Output output;
    try {
        app.parse(argc, argv);
        const ExitStatus status = action(output);
        output.Flush();
        return status;
    } catch (const CLI::CallForHelp&) {
        output.Write(app.help());
        output.Flush();
        return kDone;
    } catch (const CLI::CallForVersion& version) {
        output.WriteLine(version.what());
        output.Flush();
        return kDone;
    } catch (const CLI::ParseError& error) {
        return ComplainAboutUsage(app, error);
    }
}

}  // namespace
}  // namespace kzstat

int main(int argc, char** argv) {
    // For the characters of the terminal; numbers keep their decimal point.
    std::setlocale(LC_CTYPE, "");
    // A reader that goes away is seen when writing instead.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return kzstat::Run(argc, argv);
    } catch (const kzstat::NobodyReads&) {
        return kzstat::kDone;
    } catch (const std::exception& error) {
        return kzstat::Complain(error.what());
    }
}
