#include <clocale>
#include <cstdio>
#include <exception>

#include "commands/commands.h"
#include "reading/namedruns.h"
#include "terminal/stopsignal.h"
#include "terminal/terminaltext.h"

namespace kzstatprogram {
namespace {

ExitStatus Complain(const char* text) {
    std::fprintf(stderr, "kzstat: %s\n", kzterminal::Printable(text).c_str());
    return kFailed;
}

ExitStatus Run(int argc, char** argv) {
    const NamedRuns runs;
    CommandLine line("Shows, checks, compares and exports the statistics in a journal.", "kzstat",
                     "kzstat " KZSTAT_VERSION);
    DeclareCommands(line, runs);
    Output output;
    try {
        const ExitStatus status = line.Parse(argc, argv)(output);
        output.Flush();
        return status;
    } catch (const UsageError& error) {
        return Complain(line.Explain(error).c_str());
    }
}

}  // namespace
}  // namespace kzstatprogram

int main(int argc, char** argv) {
    // For the characters of the terminal; numbers keep their decimal point.
    std::setlocale(LC_CTYPE, "");
    kzterminal::IgnoreSignalsOfWrites();
    try {
        return kzstatprogram::Run(argc, argv);
    } catch (const kzterminal::NobodyReads&) {
        return kzstatprogram::kDone;
    } catch (const std::exception& error) {
        return kzstatprogram::Complain(error.what());
    }
}
