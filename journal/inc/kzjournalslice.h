#ifndef KZJOURNALSLICE_H
#define KZJOURNALSLICE_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "kzjournal_export.h"
#include "kzjournaldistributions.h"
#include "kzstatdistribution.h"
#include "kzstatdistributionsum.h"
#include "kzstatmessage.h"
#include "kzstatslicecost.h"

namespace kzjournal {

/// One slice of a run, as stored in its journal. Compatible.
struct KZJOURNAL_EXPORT Slice {
    int id = 0;
    double elapsed = 0;   ///< the end of the slice, in seconds since the start of the run
    double endTime = 0;   ///< the same moment in seconds since 1970-01-01 UTC
    std::string message;  ///< as it was sent
    std::vector<CKZStatMessageRecord> records;  ///< the exact values, in no particular order
    RecordDistributions distributions = {};     ///< in the order of the records
    /// What the slice cost the process that generated it; no value if it was not measured, as in
    /// merged runs, whose sources have it.
    std::optional<CKZStatSliceCost> cost = std::nullopt;

    /// Makes `distribution` that of the slice's values in the record at `position`. Returns false
    /// and leaves it as it was where none is stored. Throws `Error` where what is stored is no
    /// distribution; only `kzstat check` also sees whether it is the right one.
    bool ReadDistribution(std::size_t position, CKZStatDistribution& distribution) const;
    /// Adds it to `distribution` instead, and nothing where it returns false or throws.
    bool AddDistributionTo(CKZStatDistribution& distribution, std::size_t position) const;
    /// Adds the lasts of that record with their distribution, or none where none is stored. The
    /// same errors.
    void AddDistributionTo(CKZStatDistributionSum& sum, std::size_t position) const;
};

}  // namespace kzjournal

#endif
