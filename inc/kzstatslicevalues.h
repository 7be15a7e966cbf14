#ifndef KZSTATSLICEVALUES_H
#define KZSTATSLICEVALUES_H

#include <cstddef>
#include <string_view>
#include <vector>

#include "kzstat_export.h"
#include "kzstataggregate.h"
#include "kzstatnameindex.h"
#include "kzstatpointtypeenum.h"
#include "rw/cstring.h"

class CKZStatGenMeasurementDictionary;
struct CKZStatMessageRecord;

/// What a slice is, beside its records. Compatible.
struct CKZStatSliceFacts {
    RWCString generatorName;
    double sliceLength = 0;  ///< seconds
    int sliceId = 0;
    double elapsed = 0;  ///< the end of the slice, in seconds since the start of the generator
    double endTime = 0;  ///< the same moment in seconds since 1970-01-01 UTC, by `RyPSysTime`
};

/// A slice as a host sees it: its facts, its message and the exact values of every name, of the run
/// and of the slice. A view: it copies no value and changes nothing; what it shows belongs to
/// others and must outlive it unchanged. One that a hook was given ends with the call.
///
/// Values of the generator carry its mark of -1 in minimum and maximum: a value of exactly -1 gave
/// way to the next one there, the maximum of values that all lie below -1 is -1, and a NaN that
/// came first stays. Counts are exact; sums and sums of squares are what additions of doubles give.
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
    };

    /// Of a merged dictionary and the message rendered from it.
    CKZStatSliceValues(CKZStatSliceFacts facts, const RWCString& message,
                       const CKZStatGenMeasurementDictionary& merged);
    /// Of records from elsewhere: of a message that was read, a merge, a test.
    CKZStatSliceValues(CKZStatSliceFacts facts, const RWCString& message,
                       const std::vector<CKZStatMessageRecord>& records);
    // What a view shows must outlive it.
    CKZStatSliceValues(CKZStatSliceFacts facts, RWCString&& message,
                       const CKZStatGenMeasurementDictionary& merged) = delete;
    CKZStatSliceValues(CKZStatSliceFacts facts, RWCString&& message,
                       const std::vector<CKZStatMessageRecord>& records) = delete;
    CKZStatSliceValues(CKZStatSliceFacts facts, const RWCString& message,
                       std::vector<CKZStatMessageRecord>&& records) = delete;
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
    /// The message as it was rendered; what a hook changes in its copy afterwards is not seen here.
    const RWCString& GetMessage() const { return m_message; }

    /// Of a dictionary every name once, in no particular order; else the records in their order.
    /// The list is made at the first call and lives as long as the view.
    const std::vector<Record>& GetRecords() const;
    /// The record of `name`, or null. The first call of a view indexes all names.
    const Record* FindRecord(std::string_view name) const;

private:
    void ListRecords() const;

    const CKZStatSliceFacts m_facts;
    const RWCString& m_message;
    // One of the two is null.
    const CKZStatGenMeasurementDictionary* const m_merged;
    const std::vector<CKZStatMessageRecord>* const m_given;
    // Made when they are asked for, so that a slice nobody looks at costs nothing.
    mutable std::vector<Record> m_records;
    mutable CKZStatNameIndex m_index;
    mutable bool m_isListed = false;
    mutable bool m_isIndexed = false;
};

#endif
