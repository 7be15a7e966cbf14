#include "kzstatgendistributions.h"

#include <algorithm>
#include <utility>

#include "kzstatlog.h"

namespace {

using Measurement = CKZStatGenMeasurement;

// What a name takes at least: itself twice, a distribution of the run, one of a slice, and one in
// each of two lanes. It is corrected as soon as the name is in a slice that was joined.
constexpr std::size_t kExpectedBytes = 1500;

// Of a lane: for the current slice, the one that is packed and one that waits. A slow listener may
// have had many more under way.
constexpr std::size_t kSpareTables = 3;

}  // namespace

// ---------------------------------------------------------------- CKZStatGenDistributionNames

CKZStatGenDistributionNames::CKZStatGenDistributionNames(CKZStatDistributionChoice choice)
    : m_choice(std::move(choice)) {}

bool CKZStatGenDistributionNames::Collects(std::string_view name, PointType type) const noexcept {
    try {
        return m_choice.collects(name, type);
    } catch (...) {
        return false;
    }
}

/// Unchecked by the analysis: under m_lock, or when nothing changes any more.
CKZStatGenDistributionNames::Number CKZStatGenDistributionNames::Find(std::string_view name) const
    RYP_NO_THREAD_SAFETY_ANALYSIS {
    const std::size_t found =
        m_index.Find(name, [this](std::size_t at) { return std::string_view(m_names[at].text); });
    return found == CKZStatNameIndex::kNone ? Measurement::kRefusedDistribution
                                            : static_cast<Number>(found);
}

CKZStatGenDistributionNames::Number CKZStatGenDistributionNames::Admit(std::string_view name,
                                                                       PointType type) {
    if (m_isFull.load(std::memory_order_acquire)) return Find(name);
    const RWMutexLock::LockGuard guard(m_lock);
    const Number known = Find(name);
    return known != Measurement::kRefusedDistribution ? known : AdmitNew(name, type);
}

CKZStatGenDistributionNames::Number CKZStatGenDistributionNames::AdmitNew(std::string_view name,
                                                                          PointType type) {
    const auto bytes = static_cast<std::size_t>(m_bytes.load(std::memory_order_relaxed));
    if (m_isFull.load(std::memory_order_relaxed) || bytes >= m_choice.memoryLimit ||
        m_names.size() >= Measurement::kRefusedDistribution) {
        m_isFull.store(true, std::memory_order_release);
        return Measurement::kRefusedDistribution;
    }
    m_names.emplace_back(name, type);
    try {
        m_index.Add(name, m_names.size() - 1);
    } catch (...) {
        m_names.pop_back();
        throw;
    }
    NoteMemory(static_cast<std::ptrdiff_t>(kExpectedBytes));
    return static_cast<Number>(m_names.size() - 1);
}

CKZStatGenDistributionNames::Name& CKZStatGenDistributionNames::At(Number number) {
    const RWMutexLock::LockGuard guard(m_lock);
    return m_names[number];
}

void CKZStatGenDistributionNames::NoteMemory(std::ptrdiff_t change) {
    m_bytes.fetch_add(change, std::memory_order_relaxed);
}

// --------------------------------------------------------------- CKZStatGenKnownDistributions

CKZStatGenKnownDistributions::Number CKZStatGenKnownDistributions::NumberOf(
    std::string_view name, PointType type, CKZStatGenDistributionNames& names) {
    if (!names.Collects(name, type)) return Measurement::kNoDistribution;
    const std::size_t found = m_index.Find(
        name, [this](std::size_t at) { return std::string_view(m_known[at].name->text); });
    if (found != CKZStatNameIndex::kNone) {
        const Known& known = m_known[found];
        if (known.name->type != type)
            known.name->isIncomplete.store(true, std::memory_order_relaxed);
        return known.number;
    }
    const Number number = names.Admit(name, type);
    if (number == Measurement::kRefusedDistribution) return number;
    CKZStatGenDistributionNames::Name& admitted = names.At(number);
    if (admitted.type != type) admitted.isIncomplete.store(true, std::memory_order_relaxed);
    m_known.push_back({&admitted, number});
    try {
        m_index.Add(name, m_known.size() - 1);
    } catch (...) {
        m_known.pop_back();
        throw;
    }
    return number;
}

// ---------------------------------------------------------------- CKZStatGenDistributionTable

void CKZStatGenDistributionTable::AddWithCare(Number number, double value) {
    if (number >= m_size || !m_slots[number].m_isUsed) Use(number);
    m_slots[number].m_values.Add(value);
}

/// Makes room for `number` and notes that it has values.
void CKZStatGenDistributionTable::Use(Number number) {
    if (number >= m_slots.size()) {
        m_used.reserve(std::max<std::size_t>(number + 1, 2 * m_slots.size()));
        const std::size_t former = m_slots.size();
        m_slots.resize(number + 1);
        m_size = number + 1;
        NoteMemory(static_cast<std::ptrdiff_t>((m_slots.size() - former) *
                                               (sizeof(Slot) + sizeof(Number))));
    }
    m_slots[number].m_isUsed = true;
    m_used.push_back(number);
}

void CKZStatGenDistributionTable::NoteMemory(std::ptrdiff_t change) {
    m_notedBytes += change;
    m_names.NoteMemory(change);
}

void CKZStatGenDistributionTable::EmptyLast() {
    Slot& slot = m_slots[m_used.back()];
    const auto bytes = static_cast<std::uint32_t>(slot.m_values.table.GetMemorySize());
    NoteMemory(static_cast<std::ptrdiff_t>(bytes) - static_cast<std::ptrdiff_t>(slot.m_bytes));
    slot.m_bytes = bytes;
    slot.m_values.Clear();
    slot.m_isUsed = false;
    m_used.pop_back();
}

// -------------------------------------------------------------------- CKZStatGenDistributions

CKZStatGenDistributions::CKZStatGenDistributions(CKZStatDistributionChoice choice,
                                                 std::size_t lanes)
    : m_names(std::move(choice)), m_known(lanes + 1), m_spare(lanes + 1) {}

std::unique_ptr<CKZStatGenDistributions::Table> CKZStatGenDistributions::TakeTable(
    std::size_t lane) {
    {
        const RWMutexLock::LockGuard guard(m_spareLock);
        if (!m_spare[lane].empty()) {
            std::unique_ptr<Table> table = std::move(m_spare[lane].back());
            m_spare[lane].pop_back();
            return table;
        }
    }
    return std::make_unique<Table>(m_names, m_known[lane]);
}

void CKZStatGenDistributions::GiveBack(std::unique_ptr<Table> table, std::size_t lane) noexcept {
    try {
        const RWMutexLock::LockGuard guard(m_spareLock);
        if (m_spare[lane].size() < kSpareTables) m_spare[lane].push_back(std::move(table));
    } catch (const std::bad_alloc&) {
        // It goes; the next one is made anew.
    }
}

void CKZStatGenDistributions::BeginSlice(std::uint64_t sliceNumber) {
    if (m_sliceNumber == sliceNumber) return;
    for (const Number number : m_inSlice) m_collected[number].slice.Clear();
    m_inSlice.clear();
    m_inRun = 0;
    m_sliceNumber = sliceNumber;
}

void CKZStatGenDistributions::Join(Table& table) {
    table.Empty([this](Number number, const Table::Slot& values) {
        if (values.GetCount() == 0) return;  // memory ran out over the first one
        MakeRoomFor(number);
        CKZStatDistribution& slice = m_collected[number].slice;
        const bool isFirst = slice.GetCount() == 0;
        values.AddTo(slice);
        if (isFirst) m_inSlice.push_back(number);
    });
}

/// Also in the list of numbers, which must not throw once values were added.
void CKZStatGenDistributions::MakeRoomFor(Number number) {
    while (m_collected.size() <= number) {
        m_collected.emplace_back();
        m_collected.back().bytes = kExpectedBytes;
    }
    if (m_inSlice.capacity() < m_collected.size()) m_inSlice.reserve(2 * m_collected.size());
}

void CKZStatGenDistributions::EndSlice() {
    for (; m_inRun < m_inSlice.size(); ++m_inRun) {
        Collected& collected = m_collected[m_inSlice[m_inRun]];
        collected.run.Add(collected.slice);
        const std::size_t bytes = collected.run.GetMemorySize() + collected.slice.GetMemorySize();
        m_names.NoteMemory(static_cast<std::ptrdiff_t>(bytes) -
                           static_cast<std::ptrdiff_t>(collected.bytes));
        collected.bytes = bytes;
    }
}

void CKZStatGenDistributions::CompareOne(std::string_view name,
                                         const CKZStatGenMeasurement& measurement) {
    const Collected* const collected = Find(name, measurement);
    if (collected == nullptr) return;
    const auto isSame = [](double count, const CKZStatDistribution& values) {
        return count == static_cast<double>(values.GetCount());
    };
    if (measurement.m_isAltered || !isSame(measurement.m_lasts.count, collected->slice) ||
        !isSame(measurement.m_totals.count, collected->run))
        m_names.MarkIncomplete(measurement.m_distribution);
}

void CKZStatGenDistributions::LogRefused(std::size_t refused) {
    m_hasLoggedRefused = true;
    KZ_LOG_WARNING("Distributions take more than ", m_names.MemoryLimit(),
                   " bytes: names without one from now on: ", refused, " or more");
}

/// Null, too, where another generator gave the number: hosts may send a slice that has one's values
/// through another.
const CKZStatGenDistributions::Collected* CKZStatGenDistributions::Find(
    std::string_view name, const CKZStatGenMeasurement& measurement) const {
    const Number number = measurement.m_distribution;
    if (number >= m_collected.size() || m_names.At(number).text != name) return nullptr;
    return &m_collected[number];
}

CKZStatGenDistributions::Shown CKZStatGenDistributions::Show(
    std::string_view name, const CKZStatGenMeasurement& measurement) const {
    const Collected* const collected = Find(name, measurement);
    if (collected == nullptr || m_names.IsIncomplete(measurement.m_distribution)) return {};
    return {&collected->run, &collected->slice};
}
