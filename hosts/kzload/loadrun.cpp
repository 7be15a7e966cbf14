#include "loadrun.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "report.h"
#include "ryp/clock.h"
#include "terminal/stopsignal.h"

namespace kzload {
namespace {

constexpr double kLongestBeatSeconds = 0.1;
constexpr double kWaitWorthANoteSeconds = 2;
constexpr double kDrainGraceSeconds = 10;

}  // namespace

LoadRun::LoadRun(const Options& options, const Target& target, Terminal& terminal,
                 MessageFile& messages, kzjournal::Writer& journal)
    : m_options(options),
      m_target(target),
      m_terminal(terminal),
      m_journal(journal),
      m_generator(terminal, messages, journal) {
    MakeLoadThreads();
}

/// Deals the clients to the threads in turn.
void LoadRun::MakeLoadThreads() {
    std::vector<std::vector<std::unique_ptr<SimulatedClient>>> hands(
        static_cast<std::size_t>(m_options.threads));
    for (int i = 0; i < m_options.clients; ++i)
        hands[static_cast<std::size_t>(i) % hands.size()].push_back(
            std::make_unique<SimulatedClient>(i + 1, m_generator, m_target));
    for (auto& hand : hands)
        m_loadThreads.push_back(std::make_unique<LoadThread>(
            std::move(hand), std::chrono::milliseconds(m_options.thinkTimeMilliseconds), m_state));
}

void LoadRun::Execute() {
    m_startTime = RyPSysTime();
    OpenJournal();
    m_generator.Start(m_startTime, m_options.sliceSeconds);
    m_loops.emplace(m_generator);
    m_sliceKeeper.emplace(m_generator, m_options.sliceSeconds);
    for (const auto& thread : m_loadThreads) thread->Start();

    while (!LoadIsOver()) KeepGoing();
    StopLoad();
    WaitForLastSlice();
    m_loops.reset();
    PrintResults();
}

void LoadRun::OpenJournal() {
    if (m_options.journalFile.empty()) return;
    const kzjournal::Run run =
        kzjournal::RunOfThisProcess(kGeneratorName, m_startTime, m_options.sliceSeconds);
    m_terminal.Complain(m_journal.Open(m_options.journalFile, run));
}

bool LoadRun::LoadIsOver() const {
    return kzterminal::StopIsRequested() ||
           RyPSysTime() >= m_startTime + m_options.durationSeconds ||
           m_state.ServerIsOutOfReach(m_options.clients);
}

void LoadRun::StopLoad() {
    for (const auto& thread : m_loadThreads) thread->Stop();
    while (m_state.ActiveClients() > 0) KeepGoing();
    for (const auto& thread : m_loadThreads) thread->Join();
}

/// A slice is sent once its time is up. The run ends when every request made has been sent with
/// some slice: what the loops have not sent when they end is lost.
void LoadRun::WaitForLastSlice() {
    const double now = RyPSysTime();
    const double wait = m_sliceKeeper->SliceEnd() - now;
    if (wait > kWaitWorthANoteSeconds)
        m_terminal.Note("waiting for the last slice to end (" + std::to_string(std::lround(wait)) +
                        " s)");
    const double giveUp = now + 2 * m_options.sliceSeconds + kDrainGraceSeconds;
    while (m_generator.RequestsCounted() != m_state.RequestsMade() && RyPSysTime() < giveUp)
        KeepGoing();
}

/// One beat of the control thread: keeps slices, news and progress up to date, then sleeps a
/// little.
void LoadRun::KeepGoing() {
    m_sliceKeeper->Work(m_state.ActiveClients());
    ComplainAboutConnections();
    const double now = RyPSysTime();
    m_terminal.ShowProgress({now - m_startTime, m_options.durationSeconds, m_state.RequestsMade()});
    RyPSleep(std::min(m_sliceKeeper->NextWorkTime() - now, kLongestBeatSeconds));
}

void LoadRun::ComplainAboutConnections() {
    if (!m_state.AnyConnectFailed() || std::exchange(m_complainedAboutConnections, true)) return;
    m_terminal.Complain("cannot connect to " + m_target.url + ": " + m_state.FirstConnectFailure());
}

void LoadRun::PrintResults() {
    ComplainAboutConnections();
    const long long made = m_state.RequestsMade();
    const long long counted = m_generator.RequestsCounted();
    m_terminal.PrintLines(TotalsTable(m_generator.Totals()));
    m_terminal.PrintLines({"", RequestsLine(made, counted)});
    if (made != counted) m_terminal.Complain("not every request made was counted");
}

}  // namespace kzload
