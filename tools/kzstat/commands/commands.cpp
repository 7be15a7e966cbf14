#include "commands/commands.h"

#include <cstdio>

#include "files/filechecks.h"
#include "terminal/terminaltext.h"
#include "text/texts.h"

namespace kzstatprogram {

void DeclareCommands(CommandLine& line) {
    DeclareShow(line);
    DeclareReport(line);
    DeclareServe(line);
    DeclareCompare(line);
    DeclareExport(line);
    DeclareMerge(line);
    DeclareCheck(line);
}

void DeclareJournal(Command& command, const char* name, std::string& path,
                    const char* description) {
    command.Add(name, path, description).Required().ValueName("FILE");
}

std::string DescribeJournal(kzjournal::Reader& journal, const std::string& path) {
    return kzterminal::Printable(path) + ": " + CompletenessText(journal);
}

void TellOnStandardError(const std::string& line) {
    std::fprintf(stderr, "%s\n", line.c_str());
}

void CheckJournals(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) kzfiles::RefuseUnlessFile(path);
    kzfiles::RefuseToOverwriteByStandardOutput(paths);
}

}  // namespace kzstatprogram
