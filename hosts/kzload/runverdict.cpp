#include "runverdict.h"

#include <algorithm>

#include "slicefigures.h"
#include "terminal/numbers.h"

namespace kzload {
namespace {

using kzconditions::Demand;
using kzconditions::Judgement;
using kzconditions::Outcome;

/// The first requests are the slowest, and a percentile of a few of them says little.
constexpr int kSlicesBeforeAStop = 3;

/// Of a run that delivered no slice.
class NoFigures : public kzconditions::Figures {
public:
    std::string Title() const override { return "the run"; }
    std::vector<std::string> Names() const override { return {}; }
    std::optional<Name> Find(const std::string&) const override { return std::nullopt; }
    std::optional<double> ValueOf(const std::string&, const std::string&) const override {
        return std::nullopt;
    }
};

}  // namespace

void RunVerdict::OnSlice(const CKZStatSliceValues& slice) {
    if (m_options.required.empty() && m_options.abortIf.empty()) return;
    const bool isUnderLoad = IsUnderLoad(slice);
    if (!isUnderLoad && m_figures != nullptr) return;
    m_figures = std::make_unique<RunFigures>(slice, LoadSecondsBy(slice.GetElapsed()));
    if (isUnderLoad && ++m_slicesUnderLoad >= kSlicesBeforeAStop)
        LookForReasonToStop(slice.GetElapsed());
}

Outcome RunVerdict::Tell() {
    NoteWhatWasNeverTold();
    if (m_options.required.empty()) return Outcome::Passed;
    const std::vector<Judgement> judgements =
        m_figures ? JudgeAll(m_options.required, Demand::Must, *m_figures)
                  : JudgeAll(m_options.required, Demand::Must, NoFigures());
    m_terminal.PrintLines({""});
    m_terminal.PrintLines(LinesOf(judgements));
    m_terminal.PrintLines({VerdictLine(judgements)});
    return VerdictOf(judgements);
}

/// A slice is delivered after it has ended, so that the end of a load within it is known.
bool RunVerdict::IsUnderLoad(const CKZStatSliceValues& slice) const {
    const kzjournal::LoadSpan load = LoadOf(m_run);
    return load.IsKnown() && load.Covers(slice.GetElapsed(), slice.GetSliceLength());
}

/// How long the load had lasted at this moment of the run.
double RunVerdict::LoadSecondsBy(double elapsed) const {
    const double begin = m_run.GetLoadBegin().value_or(elapsed);
    const double end = std::min(elapsed, m_run.GetLoadEnd().value_or(elapsed));
    return std::max(0.0, end - begin);
}

void RunVerdict::LookForReasonToStop(double elapsed) {
    for (const kzconditions::Condition& condition : m_options.abortIf) {
        const Judgement judgement = Judge(condition, Demand::MustNot, *m_figures);
        if (judgement.outcome != Outcome::Failed || m_asksToStop.exchange(true)) continue;
        m_terminal.Complain("stopped after " + kzterminal::ReadableNumber(elapsed) +
                            " s: " + judgement.condition + ", it is " + judgement.text);
    }
}

/// A name may come late, but one that is mistyped never comes.
void RunVerdict::NoteWhatWasNeverTold() {
    for (const kzconditions::Condition& condition : m_options.abortIf) {
        std::string reason =
            "the load had fewer than " + std::to_string(kSlicesBeforeAStop) + " slices";
        if (m_slicesUnderLoad >= kSlicesBeforeAStop)
            reason = Judge(condition, Demand::MustNot, *m_figures).reason;
        if (!reason.empty())
            m_terminal.Note("'" + condition.text + "' could not stop the load: " + reason);
    }
}

}  // namespace kzload
