#ifndef KZSTATPROGRAM_COMMANDS_H
#define KZSTATPROGRAM_COMMANDS_H

#include <string>
#include <vector>

#include "commands/commandline.h"
#include "reading/runopener.h"

namespace kzstatprogram {

/// Declares all commands. They read what `runs` opens, which must outlive the line.
void DeclareCommands(CommandLine& line, const RunOpener& runs);

// Each declares one of them.
void DeclareCheck(CommandLine& line, const RunOpener& runs);
void DeclareCompare(CommandLine& line, const RunOpener& runs);
void DeclareExport(CommandLine& line, const RunOpener& runs);
void DeclareMerge(CommandLine& line, const RunOpener& runs);
void DeclareNote(CommandLine& line, const RunOpener& runs);
void DeclareReport(CommandLine& line, const RunOpener& runs);
void DeclareServe(CommandLine& line, const RunOpener& runs);
void DeclareShow(CommandLine& line, const RunOpener& runs);
void DeclareVerdict(CommandLine& line, const RunOpener& runs);

/// Declares an argument of `command` that must be there: the journal of a run.
void DeclareJournal(Command& command, const char* name, std::string& path,
                    const char* description = "The journal of the run");

/// "run.kzj: 10 slices", by `CompletenessText`.
std::string DescribeJournal(RunReader& run, const std::string& path);

/// Says on standard error what a run was, for commands whose standard output is for programs.
void TellOnStandardError(const std::string& line);

/// Refuses journals that are no files, and a standard output that goes into one of them. Called
/// before any of them is opened. Throws kzjournal::Error.
void CheckJournals(const std::vector<std::string>& paths);

}  // namespace kzstatprogram

#endif
