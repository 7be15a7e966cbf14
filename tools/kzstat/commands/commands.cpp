#include "commands/commands.h"

#include <cstdio>

#include "files/filechecks.h"
#include "terminal/terminaltext.h"
#include "text/texts.h"

namespace kzstatprogram {

void DeclareCommands(CommandLine& line, const RunOpener& runs) {
    DeclareShow(line, runs);
    DeclareReport(line, runs);
    DeclareServe(line, runs);
    DeclareCompare(line, runs);
    DeclareVerdict(line, runs);
    DeclareExport(line, runs);
    DeclareMerge(line, runs);
    DeclareNote(line, runs);
    DeclareCheck(line, runs);
}

void DeclareJournal(Command& command, const char* name, std::string& path,
                    const char* description) {
    command.Add(name, path, description).Required().ValueName("FILE");
}

std::string DescribeJournal(RunReader& run, const std::string& path) {
    return kzterminal::Printable(path) + ": " + CompletenessText(run);
}

void TellOnStandardError(const std::string& line) {
    std::fprintf(stderr, "%s\n", line.c_str());
}

void CheckJournals(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) kzfiles::RefuseUnlessFile(path);
    kzfiles::RefuseToOverwriteByStandardOutput(paths);
}

}  // namespace kzstatprogram
