#include "loadrun.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <utility>

#include "kzjournalkeep.h"
#include "kzjournalreader.h"
#include "ryp/clock.h"
#include "slicefigures.h"
#include "statnames.h"
#include "terminal/stopsignal.h"

namespace kzload {
namespace {

constexpr char kRunName[] = "kzload";
constexpr double kMaxSleepSeconds = 0.1;
constexpr double kWaitWorthANoteSeconds = 2;

std::vector<std::string> TextsOf(const std::vector<kzconditions::Condition>& conditions) {
    std::vector<std::string> texts;
    texts.reserve(conditions.size());
    for (const kzconditions::Condition& each : conditions) texts.push_back(each.text);
    return texts;
}

}  // namespace

LoadRun::LoadRun(const Options& options, const Target& target, Terminal& terminal,
                 MessageFile& messages)
    : m_options(options),
      m_target(target),
      m_terminal(terminal),
      m_messages(messages),
      m_saturation(options.sliceSeconds),
      m_verdict(options, m_run, terminal),
      m_run(kRunName, options.sliceSeconds) {}

kzconditions::Outcome LoadRun::Execute() {
    try {
        if (!Begin()) {
            Abandon();
            return kzconditions::Outcome::CannotTell;
        }
    } catch (...) {
        Abandon();
        throw;
    }
    while (!LoadIsOver()) KeepGoing();
    StopLoad();
    FinishRun();
    return PrintResults();
}

/// Returns false where something went wrong that the load should not begin with.
bool LoadRun::Begin() {
    ListenToSlices();
    const CKZStatRunResult soFar = m_run.GetResult();
    Complain(soFar);
    if (!soFar.IsClean()) return false;
    m_terminal.PrintFrame(Introduction(m_options, WithoutSecrets(m_target.Url())));
    StartLoadThreads();
    return true;
}

/// There is nothing to wait for, and the first slice may be long.
void LoadRun::Abandon() {
    m_loadThreads.clear();
    static_cast<void>(m_run.Finish(0));
}

/// By listeners of their own: where memory runs out in one, the others have the slice all the same.
void LoadRun::ListenToSlices() {
    m_run.ReportLoadAs(kClientsActive.name);
    m_run.OnSlice([this](const CKZStatSliceValues& slice) {
        m_terminal.PrintRow(RowOf(slice));
        TakeFigures(slice);
    });
    m_run.OnSlice([this](const CKZStatSliceValues& slice) { m_verdict.OnSlice(slice); });
    if (!m_options.journalFile.empty())
        kzjournal::Keep(m_run, m_options.journalFile,
                        {"", m_options.commandLine, TextsOf(m_options.required)});
    m_run.OnSlice([this](const CKZStatSliceValues& slice) {
        m_terminal.Complain(m_messages.Append(slice.GetMessage().view()));
    });
}

/// While the last requests drain, clients are no load.
void LoadRun::TakeFigures(const CKZStatSliceValues& slice) {
    const bool isUnderLoad = LoadOf(m_run).Covers(slice.GetElapsed(), slice.GetSliceLength());
    std::vector<Total> totals = TotalsOf(slice);
    if (!isUnderLoad) KeepLevels(m_totals, totals);
    m_totals = std::move(totals);
    if (const auto& cost = slice.GetFacts().cost; cost && isUnderLoad)
        m_saturation.Add("", {slice.GetSliceId(), slice.GetElapsed(), *cost});
}

/// Deals the clients to the threads in turn.
void LoadRun::StartLoadThreads() {
    std::vector<std::vector<std::unique_ptr<SimulatedClient>>> hands(
        static_cast<std::size_t>(m_options.threads));
    for (int i = 0; i < m_options.clients; ++i)
        hands[static_cast<std::size_t>(i) % hands.size()].push_back(
            std::make_unique<SimulatedClient>(m_run.NewClient(i + 1), m_target));
    for (auto& hand : hands)
        m_loadThreads.push_back(std::make_unique<LoadThread>(
            std::move(hand), std::chrono::milliseconds(m_options.thinkTimeMilliseconds), m_state,
            m_run));
    for (const auto& thread : m_loadThreads) thread->Start();
}

double LoadRun::SecondsSinceStart() const {
    return RyPSysTime() - m_run.GetStartTime();
}

bool LoadRun::LoadIsOver() const {
    return kzterminal::StopIsRequested() || m_verdict.AsksToStop() ||
           SecondsSinceStart() >= m_options.durationSeconds ||
           m_state.ServerIsOutOfReach(m_options.clients);
}

/// One beat of the control thread: keeps news and progress up to date, then sleeps a little.
void LoadRun::KeepGoing() {
    ComplainAboutConnections();
    ShowProgress();
    RyPSleep(std::min(m_options.durationSeconds - SecondsSinceStart(), kMaxSleepSeconds));
}

/// What is still answered is of the load; the time that takes is not.
void LoadRun::StopLoad() {
    const double seconds = SecondsSinceStart();
    m_run.EndLoad();
    if (kzterminal::StopIsRequested() && seconds < m_options.durationSeconds)
        m_verdict.NoteInterruption(seconds);
    for (const auto& thread : m_loadThreads) thread->Stop();
    for (const auto& thread : m_loadThreads) thread->Join();
    ComplainAboutConnections();
    ShowProgress();
}

/// Every request made is delivered with some slice once the run has finished.
void LoadRun::FinishRun() {
    const double wait =
        m_run.GetSliceLength() - std::fmod(SecondsSinceStart(), m_run.GetSliceLength());
    if (wait > kWaitWorthANoteSeconds)
        m_terminal.Note("waiting for the last slice to end (" + std::to_string(std::lround(wait)) +
                        " s)");
    Complain(m_run.Finish());
}

void LoadRun::Complain(const CKZStatRunResult& result) {
    for (const RWCString& line : result.complaints) m_terminal.Complain(line.data());
}

void LoadRun::ShowProgress() {
    m_terminal.ShowProgress(
        {SecondsSinceStart(), m_options.durationSeconds, m_state.RequestsMade()});
}

void LoadRun::ComplainAboutConnections() {
    if (!m_state.AnyConnectFailed() || std::exchange(m_complainedAboutConnections, true)) return;
    m_terminal.Complain("cannot connect to " + WithoutSecrets(m_target.Url()) + ": " +
                        m_state.FirstConnectFailure());
}

kzconditions::Outcome LoadRun::PrintResults() {
    const long long made = m_state.RequestsMade();
    const Requests requests = RequestsIn(m_totals);
    m_terminal.PrintTotals(m_totals);
    m_terminal.PrintLines({"", RequestsLine(made, requests)});
    if (const auto saturation = m_saturation.Get())
        m_terminal.PrintLines({kzconditions::DescribeSaturation(*saturation)},
                              kzterminal::Output::Bad);
    if (made != requests.Counted()) m_terminal.Complain("not every request made was counted");
    const bool anySucceeded = requests.ended > requests.failed;
    if (made > 0 && !anySucceeded && !m_complainedAboutConnections)
        m_terminal.Complain("no request succeeded; is " + WithoutSecrets(m_target.Url()) +
                            " the right URL?");
    m_terminal.Complain(m_messages.Close());
    const kzconditions::Outcome verdict = m_verdict.Tell();
    if (!m_options.journalFile.empty()) m_terminal.PrintFrame(WhereTheRunIs(FileOfTheRun()));
    return verdict;
}

/// Where the journal ended: it goes on beside its file if that one is removed.
std::string LoadRun::FileOfTheRun() const {
    std::string path = m_options.journalFile;
    for (int number = 1; !HasEndedIn(path); ++number) {
        path = m_options.journalFile + ".recovered-" + std::to_string(number);
        if (!std::filesystem::exists(path)) return m_options.journalFile;
    }
    return path;
}

bool LoadRun::HasEndedIn(const std::string& path) const {
    try {
        kzjournal::Reader journal(path);
        return journal.HasEnded() && journal.Facts().generator == kRunName &&
               journal.Facts().startTime == m_run.GetStartTime();
    } catch (const kzjournal::Error&) {
        return false;
    }
}

}  // namespace kzload
