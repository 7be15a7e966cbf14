#ifndef KZSTATSLICEVALUES_H
#define KZSTATSLICEVALUES_H

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "kzstat_export.h"
#include "kzstataggregate.h"
#include "kzstatnameindex.h"
#include "kzstatnote.h"
#include "kzstatpointtypeenum.h"
#include "kzstatslicecost.h"
#include "rw/cstring.h"

class CKZStatDistribution;
class CKZStatGenDistributions;
class CKZStatGenMeasurementDictionary;
struct CKZStatMessageRecord;

/// The facts of a slice, apart from its records. Compatible.
struct CKZStatSliceFacts {
    RWCString generatorName;
    double sliceLength = 0;  ///< seconds
    int sliceId = 0;
    double elapsed = 0;  ///< the end of the slice, in seconds since the start of the generator
    double endTime = 0;  ///< the same moment in seconds since 1970-01-01 UTC, by `RyPSysTime`
    // Beside the records, as no value of the load. A generator of one's own has neither.
    std::optional<CKZStatSliceCost> cost = std::nullopt;  ///< what the slice cost a `CKZStatRun`
    std::vector<CKZStatNote> notes = {};  ///< what the host noted since the slice before
};

/// A view of a slice: its facts, its message and the exact values of every name, of the run and of
/// the slice. It copies no value and changes nothing; what it shows must outlive it unchanged. A
/// view passed to a hook is valid until the hook returns.
///
/// In values of the generator, -1 in minimum and maximum means "no value yet": a value of exactly
/// -1 is replaced by the next one, the maximum of values that are all below -1 is -1, and a NaN
/// that came first stays. Counts are exact; sums and sums of squares are rounded as additions of
/// doubles are.
/// `SetValues` stores the square of the sum as the sum of squares.
///
/// Compatible: one thread at a time per object, also for reading.
class KZSTAT_EXPORT CKZStatSliceValues {
public:
    /// One name.
    struct Record {
        std::string_view name;
        CKZStatPointTypeEnum::PointType type;
        const CKZStatAggregate& totals;  ///< of the run up to the end of the slice
        const CKZStatAggregate& lasts;   ///< of the slice
        /// The distributions of the same values, or null: where the generator does not collect
        /// that of the name, where it ran out of the memory for them before the name came, and for
        /// good where they would tell something else than the aggregates: values were set, reset,
        /// added or removed by another operation than `AddLast` of a client, or reported under more
        /// than one type.
        const CKZStatDistribution* totalsDistribution = nullptr;
        const CKZStatDistribution* lastsDistribution = nullptr;
    };

    /// Shows a merged dictionary and the message rendered from it; a generator gives the
    /// distributions, too, if it collects any.
    CKZStatSliceValues(CKZStatSliceFacts facts, const RWCString& message,
                       const CKZStatGenMeasurementDictionary& merged,
                       const CKZStatGenDistributions* distributions = nullptr);
    /// Shows records from elsewhere, such as a message that was read or a merge.
    CKZStatSliceValues(CKZStatSliceFacts facts, const RWCString& message,
                       const std::vector<CKZStatMessageRecord>& records);
    /// The same with the distributions of the slice's values, one for each record or null.
    CKZStatSliceValues(CKZStatSliceFacts facts, const RWCString& message,
                       const std::vector<CKZStatMessageRecord>& records,
                       const std::vector<const CKZStatDistribution*>& lastsDistributions);
    /// Shows the same slice with other facts. `shown` need not outlive this.
    CKZStatSliceValues(const CKZStatSliceValues& shown, CKZStatSliceFacts facts);
    // What a view shows must outlive it.
    CKZStatSliceValues(CKZStatSliceFacts facts, RWCString&& message,
                       const CKZStatGenMeasurementDictionary& merged,
                       const CKZStatGenDistributions* distributions = nullptr) = delete;
    CKZStatSliceValues(CKZStatSliceFacts facts, RWCString&& message,
                       const std::vector<CKZStatMessageRecord>& records) = delete;
    CKZStatSliceValues(CKZStatSliceFacts facts, const RWCString& message,
                       std::vector<CKZStatMessageRecord>&& records) = delete;
    CKZStatSliceValues(CKZStatSliceFacts facts, const RWCString& message,
                       const std::vector<CKZStatMessageRecord>& records,
                       std::vector<const CKZStatDistribution*>&& lastsDistributions) = delete;
    CKZStatSliceValues(const CKZStatSliceValues&) = delete;
    CKZStatSliceValues& operator=(const CKZStatSliceValues&) = delete;
    ~CKZStatSliceValues();

    const RWCString& GetGeneratorName() const { return m_facts.generatorName; }
    int GetSliceId() const { return m_facts.sliceId; }
    /// Seconds.
    double GetSliceLength() const { return m_facts.sliceLength; }
    /// The end of the slice in seconds since the start of the generator.
    double GetElapsed() const { return m_facts.elapsed; }
    /// The end of the slice in seconds since 1970-01-01 UTC.
    double GetEndTime() const { return m_facts.endTime; }
    const CKZStatSliceFacts& GetFacts() const { return m_facts; }
    /// The message as it was rendered; changes that a hook makes to its text are not seen here.
    const RWCString& GetMessage() const { return m_message; }

    /// The records, in no particular order if the view shows a dictionary. The list is made at the
    /// first call and lives as long as the view.
    const std::vector<Record>& GetRecords() const;
    /// The record of `name`, or null. The first call of a view indexes all names.
    const Record* FindRecord(std::string_view name) const;

private:
    void ListRecords() const;

    const CKZStatSliceFacts m_facts;
    const RWCString& m_message;
    const CKZStatGenDistributions* const m_distributions;  // null where there are none
    // One of the two is null.
    const CKZStatGenMeasurementDictionary* const m_merged;
    const std::vector<CKZStatMessageRecord>* const m_given;
    // Null where there are none.
    const std::vector<const CKZStatDistribution*>* const m_givenDistributions;
    // Made on demand, so that a view which is not used costs nothing.
    mutable std::vector<Record> m_records;
    mutable CKZStatNameIndex m_index;
    mutable bool m_isListed = false;
    mutable bool m_isIndexed = false;
};

#endif
