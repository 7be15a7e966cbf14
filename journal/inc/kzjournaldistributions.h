#ifndef KZJOURNALDISTRIBUTIONS_H
#define KZJOURNALDISTRIBUTIONS_H

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "kzjournal_export.h"
#include "kzstatdistribution.h"
#include "kzstatslicevalues.h"

namespace kzjournal {

/// The quantiles that a journal stores beside each distribution: p50, p90, p95, p99 and p99.9.
inline constexpr std::array<double, 5> kStoredQuantiles{0.5, 0.9, 0.95, 0.99, 0.999};

/// Their values in that order; NaN where there is none.
using Percentiles = std::array<double, kStoredQuantiles.size()>;

KZJOURNAL_EXPORT Percentiles PercentilesOf(const CKZStatDistribution& distribution);

/// The distributions of the records of a slice, in their order and in encoded form
/// (docs/distribution.md), and their percentiles. Those of all records share one buffer, which
/// `Clear` keeps. Compatible.
class KZJOURNAL_EXPORT RecordDistributions {
public:
    // Memory that runs out throws `std::bad_alloc`. What was added last may be there or not then.

    /// For the next record; null where it has none.
    void Add(const CKZStatDistribution* distribution);
    /// The same in encoded form; an empty `form` where the record has none. Verifies nothing.
    void Add(std::string_view form, const Percentiles& percentiles);
    /// For each record of the slice, the distribution of the slice's values.
    void AddAll(const CKZStatSliceValues& slice);
    void Clear();

    /// The encoded form for the record at `position`; empty where it has none. Valid until this
    /// object is changed.
    std::string_view FormOf(std::size_t position) const;
    /// As they are stored for the record at `position`.
    const Percentiles& PercentilesOf(std::size_t position) const;

    /// The bytes of all forms, and of what is kept with them.
    std::size_t ByteCount() const { return m_forms.size() + m_entries.size() * sizeof(Entry); }

private:
    struct Entry {
        std::size_t begin;
        std::size_t size;
        Percentiles percentiles;
    };

    std::string m_forms;
    std::vector<Entry> m_entries;
};

}  // namespace kzjournal

#endif
