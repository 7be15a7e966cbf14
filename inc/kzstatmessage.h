#ifndef KZSTATMESSAGE_H
#define KZSTATMESSAGE_H

#include <cstddef>
#include <vector>

#include "kzstat_export.h"
#include "kzstatpoint.h"
#include "kzstatpointtypeenum.h"
#include "rw/cstring.h"

/// One record of a message: what was reported under one name. A minimum, maximum or average that
/// has no value holds -1. Counts are whole numbers. Compatible.
struct KZSTAT_EXPORT CKZStatMessageRecord {
    RWCString name;
    CKZStatPointTypeEnum::PointType type = CKZStatPointTypeEnum::NotSet;

    /// Minimum, maximum, count, sum, sum of squares and average of a span of time.
    struct Aggregate {
        double minimum = -1;
        double maximum = -1;
        double count = 0;
        double sum = 0;
        double sumSqr = 0;
        double average = -1;
    };
    Aggregate totals;  ///< of the run; empty in a lasts record
    Aggregate lasts;   ///< of the slice

    /// The record as a point takes it, at the moment `time`. The standard deviations are
    /// sqrt(max(0, sum of squares / count - (sum / count)^2)), or -1 where the count is 0.
    MeasurementArrayItem GetItem(double time) const;
};

/// A message of the generator taken apart. Compatible: one thread at a time per object.
class KZSTAT_EXPORT CKZStatMessage {
public:
    /// What follows the header: full records (`DumpDict`, fourteen fields each), as the generator
    /// sends them, or lasts records (`DumpLasts`, seven fields each, without averages).
    enum RecordForm { FullRecords, LastsRecords };

    /// Takes `length` bytes of `text` apart and returns true. Returns false where they are no whole
    /// message, leaves this object as it was and puts the offset of the field at fault into
    /// `faultPosition`; for a text that ends early that is the offset of the field or record that
    /// is not whole.
    ///
    /// A message is whole when every field ends with 0x01, every record has all of its fields,
    /// counts and the slice id are decimal digits, other numbers are decimals with a point (or
    /// "nan", "inf", "-inf") and every type is one of the table. The bytes of a name that holds
    /// 0x01 fail that, since its remainder stands where the type belongs. No byte beyond `length`
    /// is read.
    bool Read(const char* text, std::size_t length, RecordForm form, std::size_t& faultPosition);
    bool Read(const RWCString& text, RecordForm form, std::size_t& faultPosition) {
        return Read(text.data(), text.length(), form, faultPosition);
    }

    const RWCString& GetGeneratorName() const { return m_generatorName; }
    /// Seconds.
    double GetSliceLength() const { return m_sliceLength; }
    /// The end of the slice in seconds since the generator's start.
    double GetElapsed() const { return m_elapsed; }
    int GetSliceId() const { return m_sliceId; }
    /// In the order of the message. Valid until this object is changed or destroyed.
    const std::vector<CKZStatMessageRecord>& GetRecords() const { return m_records; }
    /// The record of `name`, owned by this object; null where there is none.
    const CKZStatMessageRecord* FindRecord(const char* name) const;

private:
    RWCString m_generatorName;
    double m_sliceLength = 0;
    double m_elapsed = 0;
    int m_sliceId = 0;
    std::vector<CKZStatMessageRecord> m_records;
};

#endif
