#include "commands.h"

namespace kzstat {

void DeclareCommands(CLI::App& app, Action& action) {
    DeclareShow(app, action);
}

}  // namespace kzstat
