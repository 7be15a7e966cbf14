#ifndef KZSTATMERGE_H
#define KZSTATMERGE_H

#include <cstddef>
#include <string_view>
#include <vector>

#include "kzstat_export.h"
#include "kzstataggregate.h"
#include "kzstatdistributionsum.h"
#include "kzstatmessage.h"
#include "kzstatnameindex.h"
#include "kzstatpointtypeenum.h"
#include "kzstatslicevalues.h"

/// Merges records by name, for example those of several generators at one moment. Takes constant
/// time per record, unless names were chosen so that their hashes collide. Counts are exact up to
/// 2^53.
///
/// Records are added in the order in which they are given. Sums of doubles depend on that order, as
/// do minimum and maximum if counts are negative; the same records in the same order give the same
/// bits.
///
/// A name has the type of its first record. A record of another type is not merged but noted as a
/// conflict.
///
/// The distributions of slices are merged too, exactly and in any order. A name has none if one of
/// its records has values but no distribution of them, as those of messages never have.
///
/// Compatible: one thread at a time per object.
class KZSTAT_EXPORT CKZStatMerge {
public:
    using PointType = CKZStatPointTypeEnum::PointType;

    /// A record that was not merged.
    struct Conflict {
        RWCString name;
        PointType type;     ///< of the first record of the name
        PointType refused;  ///< of the record that was not merged
    };

    // If memory runs out, or a distribution would exceed 2^64 - 1 values, these throw and no value
    // was added; names may have been.

    /// Adds one record. Returns false for a conflict.
    bool Add(std::string_view name, PointType type, const CKZStatAggregate& totals,
             const CKZStatAggregate& lasts);
    bool Add(const CKZStatMessageRecord& record);
    /// Add every record; conflicts are noted.
    void Add(const CKZStatMessage& message);
    void Add(const CKZStatSliceValues& slice);

    /// One record per name, in the order of their first records. Valid until the merge is changed
    /// or destroyed.
    const std::vector<CKZStatMessageRecord>& GetRecords() const { return m_records; }
    /// The record of `name`, owned by this object; null if there is none.
    const CKZStatMessageRecord* FindRecord(std::string_view name) const;
    /// The distributions of the values of each record, in the order of the records, or null. They
    /// are owned by this object; valid until the merge is changed or destroyed.
    std::vector<const CKZStatDistribution*> GetTotalsDistributions() const;
    std::vector<const CKZStatDistribution*> GetLastsDistributions() const;
    /// In the order of their records.
    const std::vector<Conflict>& GetConflicts() const { return m_conflicts; }

private:
    /// Of one name.
    struct Distributions {
        CKZStatDistributionSum totals;
        CKZStatDistributionSum lasts;

        void Add(const CKZStatAggregate& addedTotals, const CKZStatAggregate& addedLasts,
                 const CKZStatDistribution* totalsDistribution = nullptr,
                 const CKZStatDistribution* lastsDistribution = nullptr) {
            totals.Add(addedTotals, totalsDistribution);
            lasts.Add(addedLasts, lastsDistribution);
        }
    };

    /// Where the values of some records go, with room for the conflicts among them.
    struct Plan {
        std::vector<std::size_t> positions;
        std::vector<Conflict> conflicts;
    };

    std::vector<const CKZStatDistribution*> GetAll(
        CKZStatDistributionSum Distributions::*kind) const;
    std::size_t PositionOf(std::string_view name) const;
    std::size_t FindOrCreate(std::string_view name, PointType type);
    template <class Record>
    Plan PlanFor(const std::vector<Record>& records);
    template <class Record>
    void AddAggregates(const std::vector<Record>& records, Plan&& plan);

    std::vector<CKZStatMessageRecord> m_records;
    std::vector<Distributions> m_distributions;  // in the order of the records
    CKZStatNameIndex m_index;
    std::vector<Conflict> m_conflicts;
};

#endif
