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

}  // namespace kzstat
