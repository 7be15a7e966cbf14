#include <curl/curl.h>

#include <cstdio>
#include <exception>
#include <optional>

#include "demoserver.h"
#include "files/filechecks.h"
#include "kzjournalerror.h"
#include "loadrun.h"
#include "messagefile.h"
#include "openfiles.h"
#include "options.h"
#include "ryp/log.h"
#include "simulatedclient.h"
#include "terminal.h"
#include "terminal/stopsignal.h"
#include "terminal/terminaltext.h"

namespace kzload {
namespace {

constexpr int kFailed = 1;
constexpr int kCannotTell = 2;

/// The transfer library, ready for use by any thread while this lives. Made before other threads
/// start.
class TransferLibrary {
public:
    TransferLibrary() {
        if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK)
            throw kzjournal::Error("cannot initialise the transfer library");
    }
    ~TransferLibrary() { curl_global_cleanup(); }
    TransferLibrary(const TransferLibrary&) = delete;
    TransferLibrary& operator=(const TransferLibrary&) = delete;
};

/// Errors that the library logs while this lives are complaints of the program, on a line of their
/// own. Where RYP_LOG_LEVEL asks for more, the log stays as it is, on standard error.
class LogOfLibrary : public RyPLogSink {
public:
    explicit LogOfLibrary(Terminal& terminal) : m_terminal(terminal) {
        if (RyPLog::Threshold() == RyPLogLevel::Error) RyPLog::SetSink(this);
    }
    ~LogOfLibrary() override { RyPLog::SetSink(nullptr); }
    LogOfLibrary(const LogOfLibrary&) = delete;
    LogOfLibrary& operator=(const LogOfLibrary&) = delete;

    void Write(const RyPLogRecord& record) override { m_terminal.Complain(record.text.data()); }

private:
    Terminal& m_terminal;
};

/// Before anything is written.
void CheckFiles(const Options& options) {
    if (!options.messagesFile.empty()) kzfiles::RefuseToReplaceAJournal(options.messagesFile);
    if (options.journalFile.empty()) return;
    kzfiles::RefuseUnlessFile(options.journalFile);
    if (!options.messagesFile.empty())
        kzfiles::RefuseToOverwrite({options.journalFile}, options.messagesFile);
    kzfiles::RefuseToOverwriteByStandardOutput({options.journalFile});
}

int Run(const Options& options) {
    kzterminal::IgnoreSignalsOfWrites();
    AllowOpenFiles(options);
    Terminal terminal(options.quiet);
    const LogOfLibrary log(terminal);
    CheckFiles(options);
    MessageFile messages;
    if (!options.messagesFile.empty()) terminal.Complain(messages.Open(options.messagesFile));
    // Only now: to open a pipe waits for its reader, which a signal ends.
    kzterminal::CatchStopSignals();

    std::optional<DemoServer> server;
    if (options.url.empty()) server.emplace(options.clients);
    const Target target =
        server ? Target::Shop(server->Url()) : Target::Of(options.url, options.requestName);
    const kzconditions::Outcome verdict = LoadRun(options, target, terminal, messages).Execute();

    terminal.CheckOutput();
    if (terminal.HasComplained() || verdict == kzconditions::Outcome::Failed) return kFailed;
    return verdict == kzconditions::Outcome::CannotTell ? kCannotTell : 0;
}

}  // namespace
}  // namespace kzload

int main(int argc, char** argv) {
    try {
        const kzload::TransferLibrary transfers;
        int exitStatus = 0;
        const auto options = kzload::ReadOptions(argc, argv, exitStatus);
        return options ? kzload::Run(*options) : exitStatus;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kzload: %s\n", kzterminal::Printable(error.what()).c_str());
        return kzload::kFailed;
    }
}
