#ifndef KZLOAD_LOADRUN_H
#define KZLOAD_LOADRUN_H

#include <memory>
#include <string>
#include <vector>

#include "conditions/saturation.h"
#include "kzstatrun.h"
#include "loadstate.h"
#include "loadthread.h"
#include "messagefile.h"
#include "options.h"
#include "report.h"
#include "runverdict.h"
#include "terminal.h"

namespace kzload {

/// One run, from the first request to the final table: the control thread's part.
///
/// Owned by the control thread.
class LoadRun {
public:
    /// Slice 1 begins now. All must outlive the run.
    LoadRun(const Options& options, const Target& target, Terminal& terminal,
            MessageFile& messages);

    /// Loads the target until the time is up or a stop is asked for, and prints the results. Where
    /// the journal cannot be made, complains and ends before the load begins. Returns what the
    /// conditions of the run come to; passed without any.
    kzconditions::Outcome Execute();

private:
    bool Begin();
    void Abandon();
    void ListenToSlices();
    void TakeFigures(const CKZStatSliceValues& slice);
    void StartLoadThreads();
    double SecondsSinceStart() const;
    bool LoadIsOver() const;
    void KeepGoing();
    void StopLoad();
    void FinishRun();
    void Complain(const CKZStatRunResult& result);
    void ShowProgress();
    void ComplainAboutConnections();
    kzconditions::Outcome PrintResults();
    std::string FileOfTheRun() const;
    bool HasEndedIn(const std::string& path) const;

    const Options& m_options;
    const Target& m_target;
    Terminal& m_terminal;
    // The delivering thread's, until the run has finished.
    MessageFile& m_messages;
    std::vector<Total> m_totals;  // of the latest slice
    kzconditions::SaturationFinder m_saturation;
    RunVerdict m_verdict;

    LoadState m_state;
    bool m_complainedAboutConnections = false;
    CKZStatRun m_run;
    std::vector<std::unique_ptr<LoadThread>> m_loadThreads;
};

}  // namespace kzload

#endif
