#ifndef KZSTATPOINTTYPEENUM_H
#define KZSTATPOINTTYPEENUM_H

#include "kzstat_export.h"

class RWCString;

/// The point types and their conversions. All operations read only constant tables and are safe for
/// concurrent use.
class KZSTAT_EXPORT CKZStatPointTypeEnum {
public:
    /// What a reported value means. Apart from `NotSet` each is a single bit, so that a set of
    /// types fits a mask.
    enum PointType : int {
        NotSet = 0,
        Measurement = 1,
        Timer = 2,
        Counter = 4,
        Accumulator = 8,
        LoadSize = 16,
        TransactionCounter = 32,
        TransactionTimer = 64,
        TransactionReasonCounter = 128,
        MeasurementPerSec = 256,
        CounterPerSec = 512,
        NTPerformance = 1024,
        AccumulatorPerSec = 2048
    };

    CKZStatPointTypeEnum() = default;
    virtual ~CKZStatPointTypeEnum();

    /// The value in decimal ("2" for `Timer`), as in the text dump. A value that is not a
    /// single bit gives the nearest bit on the logarithmic scale (3 gives "4"); one past the table
    /// gives "0". The text is static.
    static const char* GetTypeName(PointType type);

    /// The readable form ("Timer"), by the same rules; "NotSet" for `NotSet` and past the table.
    static const char* GetStringFromEnumType(PointType type);

    /// Sets `type` from its readable form; "Stat" also means `Counter`. The match is
    /// exact. An unknown text, "NotSet" included, leaves `type` unchanged and logs an error.
    /// Allocates nothing.
    static void GetEnumTypeFromString(const RWCString& text, PointType& type) noexcept;
};

/// The decimal and the readable forms of the twelve types, indexed by bit position.
KZSTAT_EXPORT extern const char* const MeasurementTypeNames[12];
KZSTAT_EXPORT extern const char* const MeasurementTypeStringNames[12];

#endif
