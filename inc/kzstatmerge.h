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

/// Merges records by name: those of several generators at one moment, say. Takes time in proportion
/// to the records added, however many names there are, unless names were chosen so that their
/// hashes collide. Counts are exact up to 2^53.
///
/// Sums of doubles depend on the order of the additions, as do minimum and maximum where counts are
/// negative: records are added in the order in which they are given, so that the same records in
/// the same order give the same result to the bit.
///
/// A name has one type. A record of another type than the one under which its name came first is
/// not merged; it is noted as a conflict.
///
/// Compatible: one thread at a time per object.
class KZSTAT_EXPORT CKZStatMerge {
public:
    using PointType = CKZStatPointTypeEnum::PointType;

    /// A record that was not merged.
    struct Conflict {
        RWCString name;
        PointType type;     ///< under which the name came first
        PointType refused;  ///< of the record
    };

    // If memory runs out, the exception passes through and no value was added; names may have been.

    /// Adds one record. Returns false for a conflict.
    bool Add(std::string_view name, PointType type, const CKZStatAggregate& totals,
             const CKZStatAggregate& lasts);
    bool Add(const CKZStatMessageRecord& record);
    /// Add every record; conflicts are noted.
    void Add(const CKZStatMessage& message);
    void Add(const CKZStatSliceValues& slice);

    /// One record per name, in the order in which the names came. Valid until the merge is changed
    /// or destroyed.
    const std::vector<CKZStatMessageRecord>& GetRecords() const { return m_records; }
    /// The record of `name`, owned by this object; null where there is none.
    const CKZStatMessageRecord* FindRecord(std::string_view name) const;
    /// In the order in which they came.
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
