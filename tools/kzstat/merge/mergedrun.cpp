#include "merge/mergedrun.h"

#include <algorithm>
#include <cmath>

#include "kzstatmerge.h"
#include "terminal/terminaltext.h"
#include "text/numbers.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

using Record = CKZStatMessageRecord;

constexpr char kGeneratorName[] = "merged";

/// The runs that have slices of their own, in the order of their ids.
std::vector<const MergeInput*> LeavesOf(const std::vector<MergeInput>& inputs) {
    std::vector<const MergeInput*> leaves;
    for (const MergeInput& input : inputs)
        if (!input.isMerged) leaves.push_back(&input);
    std::sort(leaves.begin(), leaves.end(),
              [](const MergeInput* a, const MergeInput* b) { return a->run.id < b->run.id; });
    return leaves;
}

void CheckLengths(const std::vector<const MergeInput*>& leaves) {
    if (leaves.empty()) throw kzjournal::Error("cannot merge: no run has slices of its own");
    const double length = leaves.front()->run.sliceLength;
    for (const MergeInput* leaf : leaves)
        if (leaf->run.sliceLength != length)
            throw kzjournal::Error("cannot merge: the runs have slices of " + ExactNumber(length) +
                                   " s and of " + ExactNumber(leaf->run.sliceLength) +
                                   " s; merge runs of one length");
}

/// Of the runs that have slices; of all where none has.
double EarliestStart(const std::vector<const MergeInput*>& leaves) {
    const auto comesFirst = [](const MergeInput* a, const MergeInput* b) {
        return std::pair(a->slices == 0, a->run.startTime) <
               std::pair(b->slices == 0, b->run.startTime);
    };
    return (*std::min_element(leaves.begin(), leaves.end(), comesFirst))->run.startTime;
}

/// That of all runs, where they have one.
std::string CommonTestName(const std::vector<const MergeInput*>& leaves) {
    const std::string& name = leaves.front()->run.testName;
    const bool isCommon = std::all_of(leaves.begin(), leaves.end(), [&](const MergeInput* leaf) {
        return leaf->run.testName == name;
    });
    return isCommon ? name : "";
}

/// Of a run that was killed, or that goes on, it is known up to its last slice.
std::optional<double> LoadEndOf(const MergeInput& leaf) {
    const kzjournal::Run& run = leaf.run;
    if (run.loadEnd || !run.loadBegin) return run.loadEnd;
    return std::max(*run.loadBegin, leaf.lastElapsed);
}

/// From the first load that begins to the last one that ends.
void SpanLoad(const std::vector<const MergeInput*>& leaves, kzjournal::Run& run) {
    for (const MergeInput* leaf : leaves) {
        const double offset = leaf->run.startTime - run.startTime;
        const std::optional<double>& begin = leaf->run.loadBegin;
        const std::optional<double> end = LoadEndOf(*leaf);
        if (begin) run.loadBegin = std::min(run.loadBegin.value_or(HUGE_VAL), offset + *begin);
        if (end) run.loadEnd = std::max(run.loadEnd.value_or(-HUGE_VAL), offset + *end);
    }
}

kzjournal::Run FactsOf(const std::vector<const MergeInput*>& leaves) {
    kzjournal::Run run =
        kzjournal::RunOfThisProcess(kGeneratorName, EarliestStart(leaves),
                                    leaves.front()->run.sliceLength, CommonTestName(leaves));
    SpanLoad(leaves, run);
    return run;
}

RWCString MessageOf(const CKZStatSliceFacts& facts, const std::vector<Record>& records) {
    RWCString message;
    CKZStatMessageWriter writer(message);
    writer.WriteHeader(facts.generatorName, facts.sliceLength, facts.elapsed, facts.sliceId);
    for (const Record& record : records)
        writer.WriteRecord(TextOf(record.name), record.type, record.totals, record.lasts);
    return message;
}

}  // namespace

std::vector<int> MergedSlice::Sources() const {
    std::vector<int> sources;
    for (const MergePart& part : parts)
        if (sources.empty() || sources.back() != part.source) sources.push_back(part.source);
    return sources;
}

MergedRun::MergedRun(const RunOpener& runs, const std::vector<MergeInput>& inputs) {
    const std::vector<const MergeInput*> leaves = LeavesOf(inputs);
    CheckLengths(leaves);
    m_facts = FactsOf(leaves);
    for (const MergeInput* leaf : leaves)
        m_leaves.emplace_back(runs, *leaf, static_cast<int>(leaf - inputs.data()) + 1,
                              m_facts.startTime);
}

bool MergedRun::Next(MergedSlice& slice) {
    const std::optional<int> id = NextId();
    if (!id) return false;
    slice.parts.clear();
    for (MergeLeaf& leaf : m_leaves) leaf.TakeUpTo(*id, slice.parts);
    const double elapsed = *id * m_facts.sliceLength;
    slice.facts = {kGeneratorName, m_facts.sliceLength, *id, elapsed, m_facts.startTime + elapsed};
    slice.records = MergeRecords();
    slice.distributions = MergeDistributions(slice.records);
    slice.message = MessageOf(slice.facts, slice.records);
    return true;
}

std::optional<int> MergedRun::NextId() {
    std::optional<int> next;
    for (MergeLeaf& leaf : m_leaves) {
        if (!leaf.HasNext()) continue;
        const int id = leaf.MergedId();
        next = std::min(next.value_or(id), id);
    }
    return next;
}

std::vector<Record> MergedRun::MergeRecords() const {
    CKZStatMerge merge;
    for (const MergeLeaf& leaf : m_leaves)
        for (const auto& [name, known] : leaf.Records())
            if (!merge.Add(known.record)) RefuseType(known.record, leaf);
    std::vector<Record> records = merge.GetRecords();
    std::sort(records.begin(), records.end(),
              [](const Record& a, const Record& b) { return a.name.compareTo(b.name) < 0; });
    return records;
}

/// In the order of the records.
std::vector<const CKZStatDistribution*> MergedRun::MergeDistributions(
    const std::vector<Record>& records) {
    for (auto& [name, distribution] : m_distributions) distribution.Clear();
    for (const MergeLeaf& leaf : m_leaves)
        for (const auto& [name, known] : leaf.Records())
            m_distributions[name].Add(known.record.lasts, known.distribution.Get());
    std::vector<const CKZStatDistribution*> distributions;
    distributions.reserve(records.size());
    for (const Record& record : records)
        distributions.push_back(m_distributions.at(TextOf(record.name)).Get());
    return distributions;
}

void MergedRun::RefuseType(const Record& record, const MergeLeaf& leaf) const {
    const std::string name = TextOf(record.name);
    const auto first = std::find_if(m_leaves.begin(), m_leaves.end(), [&](const MergeLeaf& each) {
        return each.Records().count(name) > 0;
    });
    throw kzjournal::Error("cannot merge: " + kzterminal::Printable(name) + " is of type " +
                           TypeText(first->Records().at(name).record.type) + " in " +
                           first->Input().Text() + " and of type " + TypeText(record.type) +
                           " in " + leaf.Input().Text());
}

}  // namespace kzstatprogram
