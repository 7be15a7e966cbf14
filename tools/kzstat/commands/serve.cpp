#include <memory>
#include <string>

#include "commands/commands.h"
#include "page/pageserver.h"
#include "terminal/stopsignal.h"

namespace kzstatprogram {
namespace {

constexpr int kDefaultPort = 8090;
constexpr int kMaxPort = 65535;

struct ServeOptions {
    std::string journal;
    std::string address = "127.0.0.1";
    int port = kDefaultPort;
};

ExitStatus Serve(const ServeOptions& options, const RunOpener& runs, Output& output) {
    CheckJournals({options.journal});
    kzterminal::CatchStopSignals();
    const PageServer server(runs, options.journal, options.address, options.port);
    output.WriteLine("serving " + DescribeJournal(*runs.Open(options.journal), options.journal) +
                     ", at " + server.Url() + " until interrupted");
    output.Flush();
    kzterminal::WaitForStop();
    return kDone;
}

}  // namespace

void DeclareServe(CommandLine& line, const RunOpener& runs) {
    Command command =
        line.AddCommand("serve", "Serve a live page of charts and tables to browsers");
    const auto options = std::make_shared<ServeOptions>();
    DeclareJournal(command, "RUN", options->journal);
    command.Add("--port", options->port, "The port to listen on; 0 for any free port")
        .Between(0, kMaxPort)
        .ValueName("PORT")
        .ShowsDefault();
    command
        .Add("--bind", options->address,
             "The address to listen on; any but a loopback address admits other machines")
        .ValueName("ADDRESS")
        .ShowsDefault();
    command.Footer("Example: kzstat serve run.kzj --port 8090");
    command.Does([options, &runs](Output& output) { return Serve(*options, runs, output); });
}

}  // namespace kzstatprogram
