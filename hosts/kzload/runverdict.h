#ifndef KZLOAD_RUNVERDICT_H
#define KZLOAD_RUNVERDICT_H

#include <atomic>
#include <optional>

#include "conditions/verdict.h"
#include "kzstatrun.h"
#include "options.h"
#include "runfigures.h"
#include "terminal.h"

namespace kzload {

/// Judges a run by its conditions: with each slice by what must not be so, and at the end by what
/// must be. A run that is stopped early says so in a note. Both look at what the load caused, also
/// where it came after its end.
///
/// Owned by the thread that delivers slices until the run has finished, then by the control thread;
/// `AsksToStop` and `NoteInterruption` are the control thread's from the beginning.
class RunVerdict {
public:
    /// All must outlive this.
    RunVerdict(const Options& options, CKZStatRun& run, Terminal& terminal)
        : m_options(options), m_run(run), m_terminal(terminal) {}

    void OnSlice(const CKZStatSliceValues& slice);
    /// True once something is so that must not.
    bool AsksToStop() const { return m_asksToStop; }
    /// The load was interrupted after so many seconds. What is required was to hold for all of it.
    void NoteInterruption(double seconds);

    /// Prints how it is with each condition; nothing without any. A run that was stopped early does
    /// not meet them. Passed without conditions.
    kzconditions::Outcome Tell();

private:
    void LookForReasonToStop(double elapsed);
    void Stop(double elapsed, const kzconditions::Judgement& judgement);
    std::optional<kzconditions::Judgement> NoteEarlyStop(const std::string& reason);
    void NoteWhatWasNeverTold();

    const Options& m_options;
    CKZStatRun& m_run;
    Terminal& m_terminal;
    RunFigures m_figures;  // of the slices under load so far
    int m_slicesUnderLoad = 0;
    std::optional<kzconditions::Judgement> m_earlyStop;
    std::atomic<bool> m_asksToStop{false};
    std::optional<kzconditions::Judgement> m_interruption;  // the control thread's
};

}  // namespace kzload

#endif
