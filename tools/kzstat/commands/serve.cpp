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

ExitStatus Serve(const ServeOptions& options, Output& output) {
    CheckJournals({options.journal});
    kzterminal::CatchStopSignals();
    const PageServer server(options.journal, options.address, options.port);
    kzjournal::Reader journal(options.journal);
    output.WriteLine("serving " + DescribeJournal(journal, options.journal) + ", at " +
                     server.Url() + " until interrupted");
    output.Flush();
    kzterminal::WaitForStop();
    return kDone;
}

}  // namespace

void DeclareServe(CommandLine& line) {
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
    command.Does([options](Output& output) { return Serve(*options, output); });
}

}  // namespace kzstatprogram
