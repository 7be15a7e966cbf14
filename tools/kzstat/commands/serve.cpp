#include <fstream>
#include <memory>
#include <sstream>
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
    std::string tokenFile;
    std::string certificateFile;
    std::string keyFile;
};

std::string ContentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    // Unlike an iterator, this throws nothing that does not name the file where it is a folder.
    content << file.rdbuf();
    if (content.str().empty()) throw kzjournal::Error("cannot read " + path);
    return content.str();
}

PageServerOptions ServerOptions(const ServeOptions& options) {
    if (options.certificateFile.empty() != options.keyFile.empty())
        throw UsageError("--tls-cert", "it is used with --tls-key");
    PageServerOptions server{options.address, options.port, {}, {}};
    if (!options.tokenFile.empty()) server.token = AccessToken::FromFile(options.tokenFile);
    if (!options.keyFile.empty())
        server.identity = {ContentOf(options.certificateFile), ContentOf(options.keyFile)};
    return server;
}

ExitStatus Serve(const ServeOptions& options, const RunOpener& runs, Output& output) {
    CheckJournals({options.journal});
    const PageServerOptions serverOptions = ServerOptions(options);
    kzterminal::CatchStopSignals();
    const PageServer server(runs, options.journal, serverOptions);
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
             "The address to listen on; any but a loopback address admits other machines, which "
             "must know a token")
        .ValueName("ADDRESS")
        .ShowsDefault();
    command
        .Add("--token-file", options->tokenFile,
             "A file with the token that is asked for; without it one is made if other machines "
             "are admitted, and printed with the address")
        .ValueName("FILE");
    command.Add("--tls-cert", options->certificateFile, "Serve by TLS with this certificate (PEM)")
        .ValueName("FILE");
    command.Add("--tls-key", options->keyFile, "The key of the certificate (PEM)")
        .ValueName("FILE");
    command.Footer("Example: kzstat serve run.kzj --port 8090");
    command.Does([options, &runs](Output& output) { return Serve(*options, runs, output); });
}

}  // namespace kzstatprogram
