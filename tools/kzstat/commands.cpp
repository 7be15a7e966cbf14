#include "commands.h"

namespace kzstat {

void DeclareCommands(CLI::App& app, Action& action) {
    DeclareShow(app, action);
    DeclareReport(app, action);
    DeclareServe(app, action);
    DeclareCompare(app, action);
    DeclareExport(app, action);
    DeclareMerge(app, action);
    DeclareCheck(app, action);
}

void DeclareJournal(CLI::App& command, const char* name, std::string& path,
                    const char* description) {
    command.add_option(name, path, description)->required()->type_name("FILE");
}

}  // namespace kzstat
