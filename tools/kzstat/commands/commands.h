#ifndef KZSTATPROGRAM_COMMANDS_H
#define KZSTATPROGRAM_COMMANDS_H

#include <string>
#include <vector>

#include "commands/commandline.h"
#include "kzjournalreader.h"

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

/// "run.kzj: 10 slices", by `CompletenessText`.
std::string DescribeJournal(kzjournal::Reader& journal, const std::string& path);

/// Says on standard error what a run was, for commands whose standard output is for programs.
void TellOnStandardError(const std::string& line);

/// Refuses journals that are no files, and a standard output that goes into one of them. Called
/// before any of them is opened. Throws kzjournal::Error.
void CheckJournals(const std::vector<std::string>& paths);

}  // namespace kzstatprogram

#endif
