#ifndef KZSTATPROGRAM_COMMANDS_H
#define KZSTATPROGRAM_COMMANDS_H

#include <string>
#include <vector>

#include "commands/commandline.h"

namespace kzstatprogram {

/// Declares all commands.
void DeclareCommands(CommandLine& line);

// Each declares one.
void DeclareCheck(CommandLine& line);
void DeclareCompare(CommandLine& line);
void DeclareExport(CommandLine& line);
void DeclareMerge(CommandLine& line);
void DeclareReport(CommandLine& line);
void DeclareServe(CommandLine& line);
void DeclareShow(CommandLine& line);

/// Declares an argument of `command` that must be there: the journal of a run.
void DeclareJournal(Command& command, const char* name, std::string& path,
                    const char* description = "The journal of the run");

/// Refuses journals that are no files, and a standard output that goes into one of them. Called
/// before any of them is opened. Throws kzjournal::Error.
void CheckJournals(const std::vector<std::string>& paths);

}  // namespace kzstatprogram

#endif
