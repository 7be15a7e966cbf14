#ifndef KZSTATGENDISTRIBUTIONS_H
#define KZSTATGENDISTRIBUTIONS_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kzstatdistribution.h"
#include "kzstatdistributionchoice.h"
#include "kzstatdistributionstate.h"
#include "kzstatgenmeasurement.h"
#include "kzstatnameindex.h"
#include "kzstatpointtypeenum.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"

// The distributions that a generator collects, over all clients of a name.
//
// A flush adds each value to the table of its slice and lane, as it adds it to the measurement. The
// pack thread, which flushes without lanes, has a table of its own. Once a slice is folded, all
// flushes of its dictionaries are over: the pack thread then joins the tables, by additions of
// whole numbers. Measurements carry the number of their name, so that no name is looked up for a
// value.

/// The names that have a distribution, numbered from 0 on in the order of their admission. Safe for
/// concurrent use.
class KZSTAT_NO_EXPORT CKZStatGenDistributionNames {
public:
    using PointType = CKZStatPointTypeEnum::PointType;
    using Number = CKZStatGenMeasurement::DistributionNumber;

    /// An admitted name. Stays where it is until the generator is destroyed.
    struct Name {
        Name(std::string_view nameText, PointType nameType) : text(nameText), type(nameType) {}

        const std::string text;
        const PointType type;  // of the first report
        // Its aggregates hold other values than its distributions. Relaxed: nothing hangs on it
        // but the pack thread's answer, which the fold orders.
        std::atomic<bool> isIncomplete{false};
    };

    explicit CKZStatGenDistributionNames(CKZStatDistributionChoice choice);

    /// A choice that throws is one for no distribution.
    bool Collects(std::string_view name, PointType type) const noexcept;
    /// The number of `name`, which is admitted if it is new and there is memory left; otherwise
    /// `kRefusedDistribution`. Throws std::bad_alloc.
    Number Admit(std::string_view name, PointType type);
    /// REQUIRES: admitted.
    Name& At(Number number);
    void MarkIncomplete(Number number) {
        At(number).isIncomplete.store(true, std::memory_order_relaxed);
    }
    bool IsIncomplete(Number number) {
        return At(number).isIncomplete.load(std::memory_order_relaxed);
    }

    /// What all distributions take, in bytes, has changed by so much.
    void NoteMemory(std::ptrdiff_t change);
    std::size_t MemoryLimit() const { return m_choice.memoryLimit; }

private:
    Number Find(std::string_view name) const;
    Number AdmitNew(std::string_view name, PointType type) RYP_REQUIRES(m_lock);

    const CKZStatDistributionChoice m_choice;
    std::atomic<std::ptrdiff_t> m_bytes{0};
    // Set under m_lock, for good. Then nothing below changes any more and is read without it.
    std::atomic<bool> m_isFull{false};
    RWMutexLock m_lock;
    std::deque<Name> m_names;
    CKZStatNameIndex m_index;
};

/// The numbers that one lane has asked for, so that lanes do not wait for one another. Guarded by
/// the lane; that of the pack thread is the pack thread's.
class KZSTAT_NO_EXPORT CKZStatGenKnownDistributions {
public:
    using PointType = CKZStatPointTypeEnum::PointType;
    using Number = CKZStatGenMeasurement::DistributionNumber;

    /// For a measurement of `name` that is about to be made. Throws std::bad_alloc.
    Number NumberOf(std::string_view name, PointType type, CKZStatGenDistributionNames& names);

private:
    struct Known {
        CKZStatGenDistributionNames::Name* name;
        Number number;
    };

    std::vector<Known> m_known;
    CKZStatNameIndex m_index;
};

/// The distributions of one lane in one slice, or what the pack thread flushed itself. Written
/// under the lane while the slice is open; the pack thread's from when it is closed.
class KZSTAT_NO_EXPORT CKZStatGenDistributionTable {
public:
    using PointType = CKZStatPointTypeEnum::PointType;
    using Number = CKZStatGenMeasurement::DistributionNumber;

    CKZStatGenDistributionTable(CKZStatGenDistributionNames& names,
                                CKZStatGenKnownDistributions& known)
        : m_names(names), m_known(known) {}
    ~CKZStatGenDistributionTable() { m_names.NoteMemory(-m_notedBytes); }
    CKZStatGenDistributionTable(const CKZStatGenDistributionTable&) = delete;
    CKZStatGenDistributionTable& operator=(const CKZStatGenDistributionTable&) = delete;

    Number NumberOf(std::string_view name, PointType type) {
        return m_known.NumberOf(name, type, m_names);
    }
    /// Nothing if `number` is a mark for none. Throws std::bad_alloc; nothing was added then.
    void Add(Number number, double value) {
        if (number < m_size) [[likely]] {
            // Of one that is not used, every value is a new extreme.
            if (!m_slots[number].m_values.TryAdd(value)) AddWithCare(number, value);
        } else if (number < CKZStatGenMeasurement::kRefusedDistribution) {
            AddWithCare(number, value);
        }
    }
    /// The name was reported under another type, too. Nothing if `number` is a mark for none.
    void NoteOtherType(Number number) {
        if (number < CKZStatGenMeasurement::kRefusedDistribution) m_names.MarkIncomplete(number);
    }

    /// The values of a name. In place, since each value that is flushed looks for them; what it
    /// reads lies in one line of memory.
    class alignas(64) Slot {
    public:
        std::uint64_t GetCount() const { return m_values.count; }
        void AddTo(CKZStatDistribution& sum) const { sum.FindOrCreateState().Add(m_values); }

    private:
        friend class CKZStatGenDistributionTable;

        CKZStatDistribution::State m_values;
        std::uint32_t m_bytes = 0;  // beside the slot, as noted last
        bool m_isUsed = false;
    };

    /// Calls `take(number, const Slot&)` for each that has values and empties it afterwards. An
    /// exception of `take` ends it; the next call goes on there.
    template <class Take>
    void Empty(Take take);

private:
    void AddWithCare(Number number, double value);
    void Use(Number number);
    void EmptyLast();
    void NoteMemory(std::ptrdiff_t change);

    CKZStatGenDistributionNames& m_names;
    CKZStatGenKnownDistributions& m_known;
    Number m_size = 0;           // of m_slots, at hand
    std::vector<Slot> m_slots;   // by number
    std::vector<Number> m_used;  // as large as m_slots, so that it need not grow
    std::ptrdiff_t m_notedBytes = 0;
};

/// All distributions of a generator. What says so is safe for concurrent use, the rest is the pack
/// thread's.
class KZSTAT_NO_EXPORT CKZStatGenDistributions {
public:
    using Number = CKZStatGenMeasurement::DistributionNumber;
    using Table = CKZStatGenDistributionTable;

    CKZStatGenDistributions(CKZStatDistributionChoice choice, std::size_t lanes);

    /// An empty table for a slice and that lane, which the caller holds. Safe for concurrent use.
    /// Throws std::bad_alloc.
    std::unique_ptr<Table> TakeTable(std::size_t lane);
    /// Takes one back that is empty. Safe for concurrent use.
    void GiveBack(std::unique_ptr<Table> table, std::size_t lane) noexcept;

    /// The same of the pack thread.
    std::unique_ptr<Table> TakeOwnTable() { return TakeTable(m_known.size() - 1); }
    void GiveBackOwn(std::unique_ptr<Table> table) noexcept {
        GiveBack(std::move(table), m_known.size() - 1);
    }

    /// Forgets the slice before, if that is another than this one.
    void BeginSlice(std::uint64_t sliceNumber);
    /// Adds a table to the distributions of the slice and empties it. Throws std::bad_alloc; what
    /// is left is added by the next call.
    void Join(Table& table);
    /// Adds the slice to the run. The same.
    void EndSlice();

    /// Marks for good what the merged measurements say is incomplete, and counts the names that
    /// were refused. Called between the last change of the merged measurements and `Show`.
    template <class ForEachMeasurement>
    void Compare(ForEachMeasurement forEach);

    /// Both, or none where the measurement has none or they are incomplete.
    struct Shown {
        const CKZStatDistribution* totals = nullptr;
        const CKZStatDistribution* lasts = nullptr;
    };
    /// Asked for at once, since a reporter may mark the name meanwhile.
    Shown Show(std::string_view name, const CKZStatGenMeasurement& measurement) const;

private:
    struct Collected {
        CKZStatDistribution slice;
        CKZStatDistribution run;
        std::size_t bytes = 0;  // as noted last
    };

    void MakeRoomFor(Number number);
    const Collected* Find(std::string_view name, const CKZStatGenMeasurement& measurement) const;
    void CompareOne(std::string_view name, const CKZStatGenMeasurement& measurement);
    void LogRefused(std::size_t refused);

    mutable CKZStatGenDistributionNames m_names;
    // By lane, each guarded by it, and one for the pack thread. The same order below.
    std::vector<CKZStatGenKnownDistributions> m_known;
    RWMutexLock m_spareLock;
    std::vector<std::vector<std::unique_ptr<Table>>> m_spare RYP_GUARDED_BY(m_spareLock);
    std::deque<Collected> m_collected;  // by number
    std::vector<Number> m_inSlice;      // those with values in the slice
    std::uint64_t m_sliceNumber = 0;
    std::size_t m_inRun = 0;  // so many of m_inSlice were added to the run
    bool m_hasLoggedRefused = false;
};

template <class Take>
void CKZStatGenDistributionTable::Empty(Take take) {
    while (!m_used.empty()) {
        take(m_used.back(), std::as_const(m_slots[m_used.back()]));
        EmptyLast();
    }
}

template <class ForEachMeasurement>
void CKZStatGenDistributions::Compare(ForEachMeasurement forEach) {
    std::size_t refused = 0;
    forEach([&](std::string_view name, const CKZStatGenMeasurement& measurement) {
        CompareOne(name, measurement);
        refused += measurement.m_distribution == CKZStatGenMeasurement::kRefusedDistribution;
    });
    if (refused > 0 && !m_hasLoggedRefused) LogRefused(refused);
}

#endif
