#include "reading/namedruns.h"

#include <utility>

#include "kzjournalreader.h"

namespace kzstatprogram {
namespace {

using kzjournal::TimeRange;

/// The journal's own reader does all of it. It is no `RunReader` itself, so that the commands may
/// ask for more without a change to the binary interface of the journal.
class JournalRun : public RunReader {
public:
    JournalRun(const std::string& path, int source) : m_journal(path, source) {}

    void StopWhen(std::function<bool()> isRequested) override {
        m_journal.StopWhen(std::move(isRequested));
    }

    const kzjournal::Run& Facts() const override { return m_journal.Facts(); }
    kzjournal::LoadSpan Load() override { return m_journal.Load(); }
    bool HasEnded() override { return m_journal.HasEnded(); }
    bool IsAbandoned() override { return m_journal.IsAbandoned(); }
    long long LostSlices() override { return m_journal.LostSlices(); }
    long long ExpectedSlices() override { return m_journal.ExpectedSlices(); }
    kzjournal::Completeness GetCompleteness() override { return m_journal.GetCompleteness(); }
    std::vector<kzjournal::Source> Sources() override { return m_journal.Sources(); }
    std::vector<kzjournal::Note> Notes() override { return m_journal.Notes(); }
    std::vector<std::string> Conditions() override { return m_journal.Conditions(); }
    std::vector<int> SourcesOfSlice(int sliceId) override {
        return m_journal.SourcesOfSlice(sliceId);
    }

    int LastSliceId() override { return m_journal.LastSliceId(); }
    long long CountSlices(const TimeRange& range) override { return m_journal.CountSlices(range); }
    std::vector<double> SliceEnds(const TimeRange& range) override {
        return m_journal.SliceEnds(range);
    }
    std::vector<kzjournal::Name> Names() override { return m_journal.Names(); }

    std::optional<kzjournal::Slice> LastSlice(const TimeRange& range) override {
        return m_journal.LastSlice(range);
    }
    void ForEachSlice(const TimeRange& range, const SliceVisitor& visit) override {
        m_journal.ForEachSlice(range, visit);
    }
    void ForEachSliceAfter(int sliceId, const SliceVisitor& visit, int most) override {
        m_journal.ForEachSliceAfter(sliceId, visit, most);
    }
    void ForEachPoint(const std::string& name, const TimeRange& range,
                      const PointVisitor& visit) override {
        m_journal.ForEachPoint(name, range, visit);
    }
    void ForEachCost(const TimeRange& range, const CostVisitor& visit) override {
        m_journal.ForEachCost(range, visit);
    }
    void ForEachSum(const TimeRange& range, const std::function<long long(double)>& groupOf,
                    const SliceVisitor& visit) override {
        m_journal.ForEachSum(range, groupOf, visit);
    }
    void CheckSums() override { m_journal.CheckSums(); }

    std::vector<CKZStatMessageRecord> Summary(const TimeRange& range) override {
        return m_journal.Summary(range);
    }
    std::vector<kzjournal::NameSummary> SummaryWithDistributions(const TimeRange& range) override {
        return m_journal.SummaryWithDistributions(range);
    }

private:
    kzjournal::Reader m_journal;
};

}  // namespace

std::unique_ptr<RunReader> NamedRuns::Open(const std::string& name, int source) const {
    return std::make_unique<JournalRun>(name, source);
}

}  // namespace kzstatprogram
