#include "generator.h"

#include "rw/cstring.h"
#include "ryp/truncate.h"
#include "statnames.h"

namespace kzload {
namespace {

/// What the slice says of `stat`: nothing where the name is not known yet.
CKZStatAggregate LastsOf(const CKZStatSliceValues& slice, const Stat& stat) {
    const CKZStatSliceValues::Record* const record = slice.FindRecord(stat.name);
    return record == nullptr ? CKZStatAggregate() : record->lasts;
}

double ErrorsIn(const CKZStatSliceValues& slice) {
    double errors = 0;
    for (const Stat& error : kErrors) errors += LastsOf(slice, error).count;
    for (long status = kLowestBadStatus; status / 100 <= kHighestClass; status += 100)
        errors += LastsOf(slice, ResponseStat(status)).count;
    return errors;
}

SliceRow RowOf(const CKZStatSliceValues& slice) {
    const CKZStatAggregate times = LastsOf(slice, kRequestTime);
    SliceRow row{};
    row.elapsed = slice.GetElapsed();
    row.clients = LastsOf(slice, kClientsActive).sum;
    row.requestsPerSecond = LastsOf(slice, kRequestsRate).sum / slice.GetSliceLength();
    row.hasTimes = times.HasValues();
    row.mean = times.Average();
    row.minimum = times.minimum;
    row.maximum = times.maximum;
    row.errors = RyPTruncate<long long>(ErrorsIn(slice));
    return row;
}

std::vector<Total> TotalsOf(const CKZStatSliceValues& slice) {
    std::vector<Total> totals;
    totals.reserve(slice.GetRecords().size());
    for (const CKZStatSliceValues::Record& record : slice.GetRecords())
        totals.push_back({std::string(record.name), record.type, record.totals});
    return totals;
}

long long RequestsIn(const CKZStatSliceValues& slice) {
    const CKZStatSliceValues::Record* const record = slice.FindRecord(kRequestsRate.name);
    return record == nullptr ? 0 : RyPTruncate<long long>(record->totals.count);
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

void Generator::SendSliceValues(const CKZStatSliceValues& slice) {
    m_terminal.PrintRow(RowOf(slice));
    std::vector<Total> totals = TotalsOf(slice);
    {
        const RWMutexLock::LockGuard guard(m_lock);
        m_totals.swap(totals);
    }
    m_requestsCounted = RequestsIn(slice);
    m_terminal.Complain(m_journal.Append(slice));
}

int Generator::SendDictionaryString(RWCString& text, double, const char*) {
    const std::string failure = m_messages.Append(text.view());
    m_terminal.Complain(failure);
    return failure.empty() ? 1 : 0;
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
