#include "merge/mergecheck.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "figures/violation.h"
#include "merge/mergedrun.h"
#include "merge/mergenotes.h"
#include "terminal/terminaltext.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

using Record = CKZStatMessageRecord;

bool AreSame(double a, double b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}

bool AreSame(const CKZStatAggregate& a, const CKZStatAggregate& b) {
    return AreSame(a.minimum, b.minimum) && AreSame(a.maximum, b.maximum) &&
           AreSame(a.count, b.count) && AreSame(a.sum, b.sum) && AreSame(a.sumSqr, b.sumSqr);
}

bool AreSame(const Record& a, const Record& b) {
    return a.name == b.name && a.type == b.type && AreSame(a.totals, b.totals) &&
           AreSame(a.lasts, b.lasts);
}

bool ComesFirst(const Record& a, const Record& b) {
    return a.name.compareTo(b.name) < 0;
}

std::string NumbersText(const std::vector<int>& numbers) {
    if (numbers.empty()) return "no source";
    std::string text = numbers.size() == 1 ? "source" : "sources";
    for (const int number : numbers) text.append(" ").append(std::to_string(number));
    return text;
}

std::string SliceText(int id) {
    return "slice " + std::to_string(id) + ": ";
}

/// The slices of a merged run beside those that its sources give.
class MergeComparison {
public:
    /// `run` is that with this name and must outlive this.
    MergeComparison(const RunOpener& runs, const std::string& name, RunReader& run)
        : m_run(run),
          m_inputs(MergeInputsOf(runs, {name})),
          m_merge(runs, m_inputs),
          m_notes(m_inputs) {}

    /// Throws `Violation` where the next slice is wrong.
    void Check(kzjournal::Slice slice) {
        const bool hasNext = m_merge.Next(m_merged);
        const int id = m_merged.facts.sliceId;
        if (hasNext && id < slice.id) throw Missing();
        if (!hasNext || id > slice.id)
            throw Violation(SliceText(slice.id) + "no source has a slice in it");
        const std::vector<int> sources = Sources();
        const std::vector<int> named = m_run.SourcesOfSlice(id);
        if (named != sources)
            throw Violation(SliceText(id) + "it was made of " + NumbersText(named) + ", but " +
                            NumbersText(sources) + (sources.size() == 1 ? " has" : " have") +
                            " a slice in it");
        if (slice.elapsed != m_merged.facts.elapsed || slice.endTime != m_merged.facts.endTime)
            throw Violation(SliceText(id) + "its end is not that which its sources give");
        CheckDistributions(slice);
        CheckRecords(slice.records);
        for (kzjournal::Note& note : m_notes.Take(m_merged)) m_expected.push_back(std::move(note));
    }

    /// To be called at the end.
    void CheckEnd() {
        if (m_merge.Next(m_merged)) throw Missing();
        CheckNotes();
    }

private:
    /// By their numbers in the file; in the merge the file itself is the first.
    std::vector<int> Sources() const {
        std::vector<int> numbers;
        for (const int source : m_merged.Sources())
            numbers.push_back(m_inputs[static_cast<std::size_t>(source) - 1].source);
        std::sort(numbers.begin(), numbers.end());
        return numbers;
    }

    Violation Missing() const {
        return Violation(SliceText(m_merged.facts.sliceId) + "it is missing, but " +
                         NumbersText(Sources()) + (Sources().size() == 1 ? " has" : " have") +
                         " a slice in it");
    }

    /// Users may have added notes to the run, and its sources have their own.
    void CheckNotes() const {
        auto expected = m_expected.begin();
        for (const kzjournal::Note& note : m_run.Notes())
            if (expected != m_expected.end() && note.source == 0 && note.text == expected->text)
                ++expected;
        if (expected != m_expected.end()) throw Violation("not noted: " + expected->text);
    }

    /// Equal distributions have equal forms. REQUIRES: the records are in the order of the slice.
    void CheckDistributions(const kzjournal::Slice& slice) {
        m_forms.Clear();
        m_forms.AddAll(m_merged.View());
        std::unordered_map<std::string_view, std::string_view> expected;  // by name
        for (std::size_t i = 0; i < m_merged.records.size(); ++i)
            expected.emplace(m_merged.records[i].name.view(), m_forms.FormOf(i));
        for (std::size_t i = 0; i < slice.records.size(); ++i) {
            const auto form = expected.find(slice.records[i].name.view());
            if (form != expected.end() && form->second != slice.distributions.FormOf(i))
                throw Violation(SliceText(slice.id) + "the distribution of " +
                                kzterminal::Printable(TextOf(slice.records[i].name)) +
                                " is not what its sources give");
        }
    }

    void CheckRecords(std::vector<Record>& records) const {
        const std::vector<Record>& merged = m_merged.records;
        std::sort(records.begin(), records.end(), ComesFirst);
        const auto [ours, theirs] =
            std::mismatch(records.begin(), records.end(), merged.begin(), merged.end(),
                          [](const Record& a, const Record& b) { return AreSame(a, b); });
        if (ours == records.end() && theirs == merged.end()) return;
        const Record& record = ours == records.end() ? *theirs : *ours;
        throw Violation(SliceText(m_merged.facts.sliceId) +
                        kzterminal::Printable(TextOf(record.name)) +
                        " is not what its sources give");
    }

    RunReader& m_run;
    const std::vector<MergeInput> m_inputs;
    MergedRun m_merge;
    MergeNotes m_notes;
    std::vector<kzjournal::Note> m_expected;
    MergedSlice m_merged;
    kzjournal::RecordDistributions m_forms;  // of m_merged; keeps its memory
};

}  // namespace

bool IsMerged(RunReader& run) {
    return !run.Sources().empty() || !run.SourcesOfSlice(run.LastSliceId()).empty();
}

void CheckMerge(const RunOpener& runs, const std::string& name) {
    const std::unique_ptr<RunReader> run = runs.Open(name);
    MergeComparison comparison(runs, name, *run);
    run->ForEachSliceAfter(0, [&](const kzjournal::Slice& slice) { comparison.Check(slice); });
    comparison.CheckEnd();
}

}  // namespace kzstatprogram
