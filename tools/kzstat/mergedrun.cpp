#include "mergedrun.h"

#include <algorithm>
#include <cmath>

#include "kzstatgenmeasurement.h"
#include "kzstatpointbuilder.h"
#include "rw/cstring.h"
#include "ryp/numbertext.h"
#include "ryp/truncate.h"
#include "texts.h"

namespace kzstat {
namespace {

using Record = CKZStatMessageRecord;
using Aggregate = CKZStatAggregate;

constexpr char kGeneratorName[] = "merged";
constexpr char kFieldEnd = '\x01';
constexpr double kSameLength = 0.0005;  // seconds; messages carry thousandths
constexpr int kReadAhead = 256;

double EarliestStart(const std::vector<std::unique_ptr<kzjournal::Reader>>& journals) {
    double earliest = journals.front()->Facts().startTime;
    for (const auto& journal : journals) earliest = std::min(earliest, journal->Facts().startTime);
    return earliest;
}

void CheckLengths(const std::vector<std::unique_ptr<kzjournal::Reader>>& journals) {
    const double length = journals.front()->Facts().sliceLength;
    for (const auto& journal : journals)
        if (std::abs(journal->Facts().sliceLength - length) > kSameLength)
            throw kzjournal::Error(
                "cannot merge: the runs have slices of " + std::to_string(length) + " s and of " +
                std::to_string(journal->Facts().sliceLength) + " s; merge runs of one length");
}

/// Points take -1 for no value, pass over minima below 0 and end the process where an average is
/// below 0 or no number: such values stay away from their operators.
bool PointsCanMerge(const Aggregate& aggregate) {
    return !(aggregate.count > 0) ||
           (aggregate.minimum >= 0 && std::isfinite(aggregate.maximum) &&
            std::isfinite(aggregate.sum) && std::isfinite(aggregate.sumSqr));
}

bool PointsCanMerge(const std::vector<Record>& records) {
    return std::all_of(records.begin(), records.end(), [](const Record& record) {
        return record.type != CKZStatPointTypeEnum::NotSet && record.totals.count > 0 &&
               PointsCanMerge(record.totals) && PointsCanMerge(record.lasts);
    });
}

/// The values of the merged point, over those of `merged`.
void TakePoint(const CKZStatPoint& point, Record& merged) {
    merged.totals.minimum = point.GetMin();
    merged.totals.maximum = point.GetMax();
    merged.totals.count = point.GetCount();
    merged.totals.sum = point.GetSum();
    merged.lasts.minimum = point.GetLastMin();
    merged.lasts.maximum = point.GetLastMax();
    merged.lasts.count = point.GetLastCount();
    merged.lasts.sum = point.GetLastSum();
}

void MergePoints(std::vector<Record> records, double time, Record& merged) {
    // The smallest minimum first: a minimum of 0 that is merged later would be passed over.
    std::sort(records.begin(), records.end(),
              [](const Record& a, const Record& b) { return a.totals.minimum < b.totals.minimum; });
    std::unique_ptr<CKZStatPoint> sum;
    for (const Record& record : records) {
        std::unique_ptr<CKZStatPoint> point(
            CKZStatPointBuilder::BuildPoint(records.front().type, record.GetItem(time)));
        if (sum)
            *sum + *point;
        else
            sum = std::move(point);
    }
    TakePoint(*sum, merged);
}

void AppendField(RWCString& text, double seconds) {
    RWCString number;
    RyPDoubleToString(seconds, number, 3);
    text += number;
    text += kFieldEnd;
}

void AppendRecord(RWCString& text, const Record& record) {
    CKZStatGenMeasurement measurement(record.type);
    const auto whole = [](double count) { return RyPTruncate<int>(count); };
    measurement.SetValues(record.totals.minimum, record.totals.maximum, whole(record.totals.count),
                          record.totals.sum, record.totals.sumSqr, record.lasts.minimum,
                          record.lasts.maximum, whole(record.lasts.count), record.lasts.sum,
                          record.lasts.sumSqr, record.type);
    measurement.AppendDump(text, record.name.data());
}

}  // namespace

CKZStatMessageRecord MergeRecords(const std::vector<CKZStatMessageRecord>& records, double time) {
    Record merged;
    merged.name = records.front().name;
    merged.type = records.front().type;
    for (const Record& record : records) {
        merged.totals.Add(record.totals);
        merged.lasts.Add(record.lasts);
    }
    if (PointsCanMerge(records)) MergePoints(records, time, merged);
    return merged;
}

MergedRun::Source::Source(kzjournal::Reader& journal, double wallClockOffset)
    : m_journal(journal), m_wallClockOffset(wallClockOffset) {}

const CKZStatMessage* MergedRun::Source::Front() {
    if (m_ahead.empty())
        m_journal.ForEachSliceAfter(
            m_lastReadId,
            [this](const CKZStatMessage& slice) {
                m_ahead.push_back(slice);
                m_lastReadId = slice.GetSliceId();
            },
            kReadAhead);
    return m_ahead.empty() ? nullptr : &m_ahead.front();
}

void MergedRun::Source::Pop() {
    m_ahead.pop_front();
}

int MergedRun::Source::MergedId() {
    const double length = m_journal.Facts().sliceLength;
    const double middle = m_wallClockOffset + m_ahead.front().GetElapsed() - length / 2;
    return RyPTruncate<int>(std::floor(middle / length)) + 1;
}

MergedRun::MergedRun(const std::vector<std::unique_ptr<kzjournal::Reader>>& journals)
    : m_facts(kzjournal::RunOfThisProcess(kGeneratorName, EarliestStart(journals),
                                          journals.front()->Facts().sliceLength)) {
    CheckLengths(journals);
    for (const auto& journal : journals)
        m_sources.emplace_back(*journal, journal->Facts().startTime - m_facts.startTime);
}

bool MergedRun::Next(MergedSlice& slice) {
    std::vector<int> ids;
    for (Source& source : m_sources)
        if (source.Front() != nullptr) ids.push_back(source.MergedId());
    if (ids.empty()) return false;
    slice.id = *std::min_element(ids.begin(), ids.end());
    slice.sources = TakeSlice(slice.id);
    slice.message = MessageOf(slice.id);
    return true;
}

/// Takes all slices that belong to the merged slice and returns whose they are.
std::vector<int> MergedRun::TakeSlice(int id) {
    std::vector<int> takers;
    for (std::size_t i = 0; i < m_sources.size(); ++i) {
        Source& source = m_sources[i];
        for (auto& [name, record] : source.records) record.lasts = {};
        const CKZStatMessage* slice = source.Front();
        if (slice != nullptr && source.MergedId() == id) takers.push_back(static_cast<int>(i));
        // More than one after a pause, which moves times to earlier ones.
        for (; slice != nullptr && source.MergedId() <= id; slice = source.Front()) {
            for (const Record& record : slice->GetRecords()) {
                Record& known = source.records[TextOf(record.name)];
                Aggregate lasts = known.lasts;
                lasts.Add(record.lasts);
                known = record;
                known.lasts = lasts;
            }
            source.Pop();
        }
    }
    return takers;
}

std::string MergedRun::MessageOf(int id) const {
    std::map<std::string, std::vector<Record>> byName;
    for (const Source& source : m_sources)
        for (const auto& [name, record] : source.records) byName[name].push_back(record);

    const double end = id * m_facts.sliceLength;
    RWCString text(kGeneratorName);
    text += kFieldEnd;
    AppendField(text, m_facts.sliceLength);
    AppendField(text, end);
    text += std::to_string(id).c_str();
    text += kFieldEnd;
    for (const auto& [name, records] : byName) AppendRecord(text, MergeRecords(records, end));
    return {text.data(), text.length()};
}

}  // namespace kzstat
