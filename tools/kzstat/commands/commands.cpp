#include "commands/commands.h"

#include "files/filechecks.h"

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

void CheckJournals(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) kzfiles::RefuseUnlessFile(path);
    kzfiles::RefuseToOverwriteByStandardOutput(paths);
}

}  // namespace kzstatprogram
