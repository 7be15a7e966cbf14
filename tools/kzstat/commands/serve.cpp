#include <csignal>
#include <memory>
#include <string>

#include "commands/commands.h"
#include "page/pageserver.h"

namespace kzstat {
namespace {

constexpr int kUsualPort = 8090;
constexpr int kHighestPort = 65535;

struct ServeOptions {
    std::string journal;
    std::string address = "127.0.0.1";
    int port = kUsualPort;
};

/// Keeps SIGINT and SIGTERM from this thread and from those that it starts, so that they can be
/// waited for.
class StopSignals {
public:
    StopSignals() {
        sigemptyset(&m_signals);
        sigaddset(&m_signals, SIGINT);
        sigaddset(&m_signals, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &m_signals, &m_before);
    }
    ~StopSignals() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    void Wait() const {
        int signal = 0;
        sigwait(&m_signals, &signal);
    }

private:
    sigset_t m_signals;
    sigset_t m_before;
};

ExitStatus Serve(const ServeOptions& options, Output& output) {
    const StopSignals signals;
    const PageServer server(options.journal, options.address, options.port);
    output.WriteLine("serving " + options.journal + " at " + server.Url() + " until interrupted");
    output.Flush();
    signals.Wait();
    return kDone;
}

}  // namespace

void DeclareServe(CommandLine& line) {
    Command command = line.AddCommand("serve", "Show a run in a browser while it goes on");
    const auto options = std::make_shared<ServeOptions>();
    DeclareJournal(command, "RUN", options->journal);
    command.Add("--port", options->port, "The port to listen on, 0 for any that is free")
        .Between(0, kHighestPort)
        .ValueName("PORT")
        .ShowsDefault();
    command
        .Add("--bind", options->address,
             "The address to listen on; others than this machine's own let others in")
        .ValueName("ADDRESS")
        .ShowsDefault();
    command.Footer("Example: kzstat serve run.kzj --port 8090");
    command.Does([options](Output& output) { return Serve(*options, output); });
}

}  // namespace kzstat
