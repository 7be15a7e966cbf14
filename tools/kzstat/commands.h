#ifndef KZSTAT_COMMANDS_H
#define KZSTAT_COMMANDS_H

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "exitstatus.h"
#include "output.h"

namespace kzstat {

/// What the subcommand of the command line does, set when it has been read.
using Action = std::function<ExitStatus(Output&)>;

/// Declares all subcommands.
void DeclareCommands(CLI::App& app, Action& action);

// Each declares one.
void DeclareCheck(CLI::App& app, Action& action);
void DeclareCompare(CLI::App& app, Action& action);
void DeclareExport(CLI::App& app, Action& action);
void DeclareMerge(CLI::App& app, Action& action);
void DeclareReport(CLI::App& app, Action& action);
void DeclareServe(CLI::App& app, Action& action);
void DeclareShow(CLI::App& app, Action& action);

/// Declares an argument of `command` that must be there: the journal of a run.
void DeclareJournal(CLI::App& command, const char* name, std::string& path,
                    const char* description = "The journal of the run");

}  // namespace kzstat

#endif
