#include "longrun.h"

#include <algorithm>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <numeric>
#include <string>
#include <vector>

#include "residentmemory.h"

namespace {

using Types = CKZStatPointTypeEnum;

constexpr char kHostName[] = "longrun";
constexpr double kStart = 1.7e9;
constexpr double kSliceLength = 1.0;
constexpr int kMinute = 60;
constexpr int kHour = 3600;
constexpr char kFieldEnd = '\x01';
constexpr int kHeaderFields = 4;

// What may come on top of the memory of the first minute. The heap never gives back quite the
// pages it took, since blocks of other sizes settle in the gaps, and the messages get longer as
// their numbers do: that stays within a few hundred KiB however long the run is.
constexpr double kAllowedBytes = 1024.0 * 1024.0;
// And one entry per slice of the queue of slices to free, which nobody empties here because no
// garbage loop runs.
constexpr double kAllowedBytesPerSlice = sizeof(void*);

// Sanitizers hold back freed memory in order to catch late uses of it, so the memory in use says
// nothing there; they find what leaks by themselves.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kMemoryIsTelling = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kMemoryIsTelling = false;
#else
constexpr bool kMemoryIsTelling = true;
#endif
#else
constexpr bool kMemoryIsTelling = true;
#endif

/// A whole number of three digits at most.
double ValueOf(int slice, int client) {
    return static_cast<double>(1 + (client * 7LL + slice * 13LL) % 997);
}

double EndOf(int slice) {
    return kStart + slice * kSliceLength;
}

double Seconds(std::chrono::steady_clock::duration duration) {
    return std::chrono::duration<double>(duration).count();
}

/// The records of a message; none where it has no whole header.
const char* RecordsOf(const RWCString& message) {
    const char* at = message.data();
    for (int field = 0; field < kHeaderFields; ++field) {
        const char* const end = std::strchr(at, kFieldEnd);
        if (end == nullptr) return "";
        at = end + 1;
    }
    return at;
}

bool IsEmpty(const CKZStatAggregate& part) {
    return part.minimum == -1 && part.maximum == -1 && part.count == 0 && part.sum == 0 &&
           part.sumSqr == 0;
}

}  // namespace

LongRun::LongRun(const Options& options, Violations& violations)
    : m_options(options),
      m_violations(violations),
      m_clock(kStart),
      m_host(kHostName),
      m_books(options.names),
      m_booksOfFinished(options.names),
      m_begin(RealTime::now()),
      m_packTime(0),
      m_packProcessorTime(0),
      m_bytesWhenFilled(0) {
    m_host.Start(kStart, kSliceLength);
    for (int id = 0; id < options.clients; ++id) m_clients.emplace_back(&m_host, id);
    std::cout << std::fixed << std::setprecision(1);
}

/// Every client has reported every name by then, so that no more measurements are made.
int LongRun::FilledAfter() const {
    return std::max(kMinute, m_options.names);
}

double LongRun::RealSeconds() const {
    return Seconds(RealTime::now() - m_begin);
}

bool LongRun::Report() {
    const int half = (m_options.clients + 1) / 2;
    for (int slice = 1; slice <= m_options.slices; ++slice) {
        m_clock.Set(EndOf(slice) - kSliceLength / 2);
        ReportValues(slice, 0, half);
        if (!IsCurrent(slice)) return false;
        // The former slice is freed while half of the clients still hold a dictionary of it.
        if (slice > 1) Deliver(slice - 1);
        ReportValues(slice, half, m_options.clients);
        m_booksOfFinished = m_books;
        if (slice == FilledAfter()) m_bytesWhenFilled = ResidentBytes();
        if (slice % kHour == 0 || slice == m_options.slices) NoteProgress(slice);
    }
    return true;
}

void LongRun::ReportValues(int slice, int firstClient, int lastClient) {
    for (int client = firstClient; client < lastClient; ++client) {
        const int name = (client + slice) % m_options.names;
        const double value = ValueOf(slice, client);
        m_books.Enter(name, value);
        m_clients[static_cast<std::size_t>(client)].AddLast(m_books.NameOf(name).c_str(), value,
                                                            Types::Measurement);
    }
}

/// Where another slice is current, one that is waited for may never come.
bool LongRun::IsCurrent(int slice) {
    const double end = m_clients.front().GetCurrentEndTime();
    m_violations.ExpectEqual(slice, "end of the current slice", end, EndOf(slice));
    return end == EndOf(slice);
}

bool LongRun::FallSilent() {
    const int lastBusy = m_options.slices;
    const int lastSilent = lastBusy + m_options.silence;
    m_clock.Set(EndOf(lastSilent + 1) - kSliceLength / 2);
    m_clients.front().GetNewDictionary();
    if (!IsCurrent(lastSilent + 1)) return false;

    Deliver(lastBusy);
    m_packTime = {};
    m_packProcessorTime = 0;
    for (int slice = lastBusy + 1; slice <= lastSilent; ++slice) Deliver(slice);
    PrintPackTime();
    return true;
}

void LongRun::PrintPackTime() const {
    const double processorSeconds = static_cast<double>(m_packProcessorTime) / CLOCKS_PER_SEC;
    std::cout << std::setprecision(3) << "silence: " << m_options.silence
              << " slices packed and sent in " << Seconds(m_packTime) << " s, of which "
              << processorSeconds << " s on the processor" << std::setprecision(1) << std::endl;
}

void LongRun::Deliver(int slice) {
    CKZStatGenSlice* const finished = m_host.WaitForSlice();
    m_host.ClearDelivery();
    TimedSend(finished);
    CheckHooks(slice);
    CheckMessage(slice);
    if (slice > m_options.slices) CheckSilence(slice);
    m_formerText = m_host.GetDelivery().text;
    Free(finished);
}

void LongRun::TimedSend(CKZStatGenSlice* slice) {
    const RealTime::time_point begin = RealTime::now();
    const std::clock_t processorBegin = std::clock();
    m_host.SendSlice(slice);
    m_packTime += RealTime::now() - begin;
    m_packProcessorTime += std::clock() - processorBegin;
}

void LongRun::Free(CKZStatGenSlice* slice) {
    if (slice->GetCountZ0() > 0) slice->ReleaseDicts();
    m_host.RemoveSlice(slice);
}

void LongRun::CheckHooks(int slice) {
    const Delivery& delivery = m_host.GetDelivery();
    std::vector<int> ids(delivery.clientIds);
    std::sort(ids.begin(), ids.end());
    std::vector<int> expectedIds(m_clients.size());
    std::iota(expectedIds.begin(), expectedIds.end(), 0);
    if (ids != expectedIds) m_violations.Add(slice, "not every client's hook was called once");
    const auto isWrongEnd = [slice](double end) { return end != EndOf(slice); };
    if (std::any_of(delivery.clientEnds.begin(), delivery.clientEnds.end(), isWrongEnd))
        m_violations.Add(slice, "another end time in a client's hook");
    m_violations.ExpectEqual(slice, "fewest names of a client",
                             static_cast<double>(delivery.leastNames),
                             std::min({slice, m_options.slices, m_options.names}));
    m_violations.ExpectEqual(slice, "calls of the total's hook", delivery.totals, 1);
    m_violations.ExpectEqual(slice, "number of messages", delivery.texts, 1);
    const double elapsed = slice * kSliceLength;
    m_violations.ExpectEqual(slice, "time in the total's hook", delivery.totalElapsed, elapsed);
    m_violations.ExpectEqual(slice, "time in the text's hook", delivery.textElapsed, elapsed);
    if (!delivery.inOrder) m_violations.Add(slice, "hooks called out of order");
}

void LongRun::CheckMessage(int slice) {
    std::size_t fault = 0;
    if (!m_message.Read(m_host.GetDelivery().text, CKZStatMessage::FullRecords, fault)) {
        m_violations.Add(slice, "unreadable message at byte " + std::to_string(fault));
        return;
    }
    if (!(m_message.GetGeneratorName() == kHostName)) m_violations.Add(slice, "another name");
    m_violations.ExpectEqual(slice, "slice length", m_message.GetSliceLength(), kSliceLength);
    m_violations.ExpectEqual(slice, "slice id", m_message.GetSliceId(), slice);
    m_violations.ExpectEqual(slice, "elapsed time", m_message.GetElapsed(), slice * kSliceLength);

    m_booksOfFinished.Compare(m_message, m_violations);
    double valuesOfSlice = 0;
    for (const CKZStatMessageRecord& record : m_message.GetRecords())
        valuesOfSlice += record.lasts.count;
    m_violations.ExpectEqual(slice, "count of the slice's values", valuesOfSlice,
                             slice <= m_options.slices ? m_options.clients : 0);
}

/// The first silent slice empties the lasts; from then on nothing but the header changes.
void LongRun::CheckSilence(int slice) {
    for (const CKZStatMessageRecord& record : m_message.GetRecords())
        if (!IsEmpty(record.lasts))
            m_violations.Add(slice,
                             std::string("a silent slice has values of ") + record.name.data());
    if (slice == m_options.slices + 1) return;
    const RWCString& text = m_host.GetDelivery().text;
    if (std::strcmp(RecordsOf(text), RecordsOf(m_formerText)) != 0)
        m_violations.Add(slice, "records differ from those of the silent slice before");
}

/// Tells of the messages sent so far: the slice itself is not finished yet.
void LongRun::NoteProgress(int slice) {
    std::cout << slice / (kHour * 1.0) << " h: slices " << m_message.GetSliceId() << ", elapsed "
              << m_message.GetElapsed() << " s, resident " << MiB(ResidentBytes()) << " MiB, real "
              << RealSeconds() << " s" << std::endl;
}

void LongRun::CompareMemory() {
    const double bytes = ResidentBytes();
    if (m_options.slices < FilledAfter()) {
        std::cout << "memory: " << MiB(bytes) << " MiB; too few slices to compare" << std::endl;
        return;
    }
    const double growth = bytes - m_bytesWhenFilled;
    const double allowed = kAllowedBytes + kAllowedBytesPerSlice * m_options.slices;
    std::cout << std::setprecision(2) << "memory: " << MiB(m_bytesWhenFilled) << " MiB after slice "
              << FilledAfter() << ", " << MiB(bytes) << " MiB at the end, growth " << MiB(growth)
              << " MiB, allowed " << MiB(allowed) << " MiB" << std::setprecision(1) << std::endl;
    if (kMemoryIsTelling && growth > allowed)
        m_violations.Add(m_message.GetSliceId(), "memory grew beyond what is allowed");
}
