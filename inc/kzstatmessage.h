#ifndef KZSTATMESSAGE_H
#define KZSTATMESSAGE_H

#include <cstddef>
#include <string_view>
#include <vector>

#include "kzstat_export.h"
#include "kzstataggregate.h"
#include "kzstatnameindex.h"
#include "kzstatpoint.h"
#include "kzstatpointtypeenum.h"
#include "rw/cstring.h"

/// One record: the aggregates of one name. Compatible.
struct KZSTAT_EXPORT CKZStatMessageRecord {
    RWCString name;
    CKZStatPointTypeEnum::PointType type = CKZStatPointTypeEnum::NotSet;
    CKZStatAggregate totals;  ///< of the run; empty in a lasts record
    CKZStatAggregate lasts;   ///< of the slice

    /// The record as the values of a point at the moment `time`. Averages and standard deviations
    /// are those of the aggregates: -1 if there are no values.
    MeasurementArrayItem GetItem(double time) const;
};

/// Writes messages: appends header and records to a text, each field followed by 0x01. Doubles have
/// three decimals; counts are truncated to whole numbers. Names are not escaped: one that
/// holds 0x01 becomes several fields.
///
/// Compatible: one thread at a time per object.
class KZSTAT_EXPORT CKZStatMessageWriter {
public:
    using PointType = CKZStatPointTypeEnum::PointType;

    static constexpr char kFieldEnd = '\x01';  ///< follows each field, the last one too

    /// `text` must outlive the writer.
    explicit CKZStatMessageWriter(RWCString& text) : m_text(text) {}

    /// The header of a message. Times in seconds; `elapsed` is the end of the slice since the start
    /// of the generator.
    void WriteHeader(const RWCString& generatorName, double sliceLength, double elapsed,
                     int sliceId);
    /// The last two fields of a header: `elapsed` and `sliceId`.
    void WriteSlice(double elapsed, int sliceId);

    /// A record of a message: name, type, then minimum, maximum, count, sum, sum of squares and
    /// average of the totals and the same of the lasts.
    void WriteRecord(std::string_view name, PointType type, const CKZStatAggregate& totals,
                     const CKZStatAggregate& lasts);
    /// A lasts record: name, type, then the lasts without an average.
    void WriteLastsRecord(std::string_view name, PointType type, const CKZStatAggregate& lasts);

private:
    void WriteNameAndType(std::string_view name, PointType type);
    void WriteAggregate(const CKZStatAggregate& aggregate);
    void WriteText(std::string_view field);
    void WriteDouble(double field);
    void WriteWhole(long long field);

    RWCString& m_text;
};

/// A parsed message of the generator. Compatible: one thread at a time per object.
class KZSTAT_EXPORT CKZStatMessage {
public:
    /// What follows the header: full records (`DumpDict`, fourteen fields each), as the generator
    /// sends them, or lasts records (`DumpLasts`, seven fields each, without averages).
    enum RecordForm { FullRecords, LastsRecords };

    /// Parses `length` bytes of `text` and returns true. If they are no complete message, returns
    /// false, leaves this object unchanged and sets `faultPosition` to the offset of the first
    /// field that is invalid at its place, or at which the text ends early. The cause may lie
    /// before it: a missing field or a name that holds 0x01 shifts all fields after it.
    ///
    /// A message is complete if every field ends with 0x01, every record has all of its fields,
    /// counts and the slice id are decimal digits with or without a minus, other numbers are
    /// decimals with a point (or "nan", "inf", "-inf") and every type is one of the table. This
    /// accepts everything that `CKZStatMessageWriter` writes, except that a name which holds 0x01
    /// shifts the fields after it: that mostly fails, but a name made to imitate records is read as
    /// records. Averages are checked and ignored: the aggregates compute them from the sums, which
    /// lose less by the three decimals. No byte beyond `length` is read.
    [[nodiscard]] bool Read(const char* text, std::size_t length, RecordForm form,
                            std::size_t& faultPosition);
    [[nodiscard]] bool Read(const RWCString& text, RecordForm form, std::size_t& faultPosition) {
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
    /// The first record of `name`, owned by this object; null if there is none. Takes constant
    /// time, unless names were chosen so that their hashes collide.
    const CKZStatMessageRecord* FindRecord(std::string_view name) const;

private:
    void Add(CKZStatMessageRecord&& record);
    std::size_t PositionOf(std::string_view name) const;

    RWCString m_generatorName;
    double m_sliceLength = 0;
    double m_elapsed = 0;
    int m_sliceId = 0;
    std::vector<CKZStatMessageRecord> m_records;
    CKZStatNameIndex m_index;  // of the first record of each name
};

#endif
