#include "generator.h"

#include <algorithm>

#include "rw/cstring.h"
#include "ryp/collectablestring.h"
#include "ryp/truncate.h"
#include "statnames.h"

namespace kzload {
namespace {

using Dictionary = CKZStatGenMeasurementDictionary;

/// Values of `stat` in the slice: none where the name is not known yet.
int CountInSlice(const Dictionary& merged, const Stat& stat) {
    return std::max(merged.GetLastsCount(stat.name), 0);
}

long long ErrorsInSlice(const Dictionary& merged) {
    long long errors = 0;
    for (const Stat& error : kErrors) errors += CountInSlice(merged, error);
    for (long status = kLowestBadStatus; status / 100 <= kHighestClass; status += 100)
        errors += CountInSlice(merged, ResponseStat(status));
    return errors;
}

SliceRow RowOf(Dictionary& merged, double sliceLength, double elapsed) {
    SliceRow row{};
    row.elapsed = elapsed;
    row.clients = std::max(merged.GetLastsSum(kClientsActive.name), 0.0);
    row.requestsPerSecond = std::max(merged.GetLastsSum(kRequestsRate.name), 0.0) / sliceLength;
    row.hasTimes = CountInSlice(merged, kRequestTime) > 0;
    row.mean = merged.GetLastsAverage(kRequestTime.name);
    row.minimum = merged.GetLastsMinimum(kRequestTime.name);
    row.maximum = merged.GetLastsMaximum(kRequestTime.name);
    row.errors = ErrorsInSlice(merged);
    return row;
}

Total TotalOf(Dictionary& merged, const char* name) {
    return {name,
            TypeOfStat(name),
            merged.GetCount(name),
            merged.GetAverage(name),
            merged.GetMinimum(name),
            merged.GetMaximum(name),
            merged.GetSum(name)};
}

std::vector<Total> TotalsOf(Dictionary& merged) {
    std::vector<Total> totals;
    totals.reserve(merged.entries());
    RWHashDictionaryIterator next(merged);
    while (const RWCollectable* const key = next())
        totals.push_back(TotalOf(merged, static_cast<const CKZCollectableString*>(key)->data()));
    return totals;
}

}  // namespace

Generator::Generator(Terminal& terminal, MessageFile& messages, kzjournal::Writer& journal)
    : CKZStatGenMain(kGeneratorName),
      m_terminal(terminal),
      m_messages(messages),
      m_journal(journal),
      m_requestsCounted(0) {}

std::vector<Total> Generator::Totals() const {
    const RWMutexLock::LockGuard guard(m_lock);
    return m_totals;
}

void Generator::SendTotalDictionary(CKZStatGenMeasurementDictionary* merged, double sliceLength,
                                    double elapsed) {
    m_terminal.PrintRow(RowOf(*merged, sliceLength, elapsed));
    std::vector<Total> totals = TotalsOf(*merged);
    {
        const RWMutexLock::LockGuard guard(m_lock);
        m_totals.swap(totals);
    }
    // A sum rather than a count, which ends at the largest int.
    m_requestsCounted = RyPTruncate<long long>(std::max(merged->GetSum(kRequestsRate.name), 0.0));
}

int Generator::SendDictionaryString(RWCString& text, double, const char*) {
    const std::string_view message(text.data(), text.length());
    const std::string messagesFailure = m_messages.Append(message);
    const std::string journalFailure = m_journal.Append(message);
    m_terminal.Complain(messagesFailure);
    m_terminal.Complain(journalFailure);
    return messagesFailure.empty() && journalFailure.empty() ? 1 : 0;
}

GeneratorLoops::GeneratorLoops(CKZStatGenMain& generator) : m_generator(generator) {
    m_packThread = std::thread([this] { m_generator.doPackWork(); });
    m_garbageThread = std::thread([this] { m_generator.doGarbageWork(); });
}

GeneratorLoops::~GeneratorLoops() {
    m_generator.Terminate();
    m_generator.WaitForTerminateToEnd();
    m_packThread.join();
    m_garbageThread.join();
}

}  // namespace kzload
