#ifndef KZSTATMERGE_H
#define KZSTATMERGE_H

#include <cstddef>
#include <string_view>
#include <vector>

#include "kzstat_export.h"
#include "kzstataggregate.h"
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

    // If memory runs out, these throw and no value was added; names may have been.

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
    /// In the order of their records.
    const std::vector<Conflict>& GetConflicts() const { return m_conflicts; }

private:
    std::size_t PositionOf(std::string_view name) const;
    std::size_t FindOrCreate(std::string_view name, PointType type);
    template <class Records, class NameOf>
    void AddAll(const Records& records, const NameOf& nameOf);

    std::vector<CKZStatMessageRecord> m_records;
    CKZStatNameIndex m_index;
    std::vector<Conflict> m_conflicts;
};

#endif
