#include "commands/commands.h"

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

}  // namespace kzstatprogram
