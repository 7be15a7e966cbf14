#include "runverdict.h"

#include "conditions/earlystop.h"
#include "slicefigures.h"
#include "terminal/numbers.h"

namespace kzload {
namespace {

using kzconditions::Demand;
using kzconditions::Judgement;
using kzconditions::Outcome;

/// The first requests are the slowest, and a percentile of a few of them says little.
constexpr int kSlicesBeforeAStop = 3;

}  // namespace

void RunVerdict::OnSlice(const CKZStatSliceValues& slice) {
    if (m_options.required.empty() && m_options.abortIf.empty()) return;
    // A slice is delivered after it has ended, so that the end of a load within it is known.
    const kzjournal::LoadSpan load = LoadOf(m_run);
    const double elapsed = slice.GetElapsed();
    const double length = slice.GetSliceLength();
    if (!load.IsKnown() || !load.SlicesWithValues(length).Selects(elapsed, length)) return;
    const bool isUnderLoad = load.Covers(elapsed, length);
    m_figures.Add(slice, length - load.SecondsOutside(elapsed, length), isUnderLoad);
    if (isUnderLoad && ++m_slicesUnderLoad >= kSlicesBeforeAStop) LookForReasonToStop(elapsed);
}

Outcome RunVerdict::Tell() {
    NoteWhatWasNeverTold();
    if (m_options.required.empty()) return Outcome::Passed;
    std::vector<Judgement> judgements = JudgeAll(m_options.required, Demand::Must, m_figures);
    if (m_earlyStop)
        judgements.push_back(*m_earlyStop);
    else if (m_interruption)
        judgements.push_back(*m_interruption);
    m_terminal.PrintLines({""});
    m_terminal.PrintLines(LinesOf(judgements));
    m_terminal.PrintLines({VerdictLine(judgements)});
    return VerdictOf(judgements);
}

void RunVerdict::NoteInterruption(double seconds) {
    if (m_options.required.empty()) return;
    m_interruption =
        NoteEarlyStop("interrupted after " + kzterminal::ReadableNumber(seconds) + " of " +
                      kzterminal::ReadableNumber(m_options.durationSeconds) + " s");
}

/// Once the load has ended, there is nothing to stop.
void RunVerdict::LookForReasonToStop(double elapsed) {
    if (m_earlyStop || m_run.GetLoadEnd()) return;
    for (const kzconditions::Condition& condition : m_options.abortIf) {
        const Judgement judgement = Judge(condition, Demand::MustNot, m_figures);
        if (judgement.outcome == Outcome::Failed) return Stop(elapsed, judgement);
    }
}

/// The note comes first: whoever is asked to stop may end the run, which then takes none.
void RunVerdict::Stop(double elapsed, const Judgement& judgement) {
    m_earlyStop = NoteEarlyStop(kzconditions::ReasonToStop(judgement));
    m_terminal.Complain("stopped after " + kzterminal::ReadableNumber(elapsed) +
                        " s: " + m_earlyStop->text);
    m_asksToStop = true;
}

std::optional<Judgement> RunVerdict::NoteEarlyStop(const std::string& reason) {
    const std::string note = kzconditions::EarlyStopNote(reason);
    if (!m_run.Note(note.c_str())) m_terminal.Complain("cannot note why the load was stopped");
    return kzconditions::EarlyStopOf(note);
}

/// A name may come late, but one that is mistyped never comes.
void RunVerdict::NoteWhatWasNeverTold() {
    for (const kzconditions::Condition& condition : m_options.abortIf) {
        std::string reason =
            "the load had fewer than " + std::to_string(kSlicesBeforeAStop) + " slices";
        if (m_slicesUnderLoad >= kSlicesBeforeAStop)
            reason = Judge(condition, Demand::MustNot, m_figures).reason;
        if (!reason.empty())
            m_terminal.Warn("'" + condition.text + "' could not stop the load: " + reason);
    }
}

}  // namespace kzload
