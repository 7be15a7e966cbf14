#ifndef KZJOURNALNAMECHECKSUM_H
#define KZJOURNALNAMECHECKSUM_H

#include <cstdint>
#include <string_view>

#include "kzstataggregate.h"
#include "wordhash.h"

namespace kzjournal {

/// The checksum over what the slices of a chunk say about one name, in the order of their ids.
/// docs/journal.md says how it is computed. Compatible.
class NameChecksum {
public:
    explicit NameChecksum(std::string_view name) { m_hash.Add(name); }

    void Add(int sliceId, double elapsed, const CKZStatAggregate& lasts) {
        m_hash.AddWhole(sliceId);
        m_hash.Add(elapsed);
        m_hash.Add(lasts);
    }

    /// As the database keeps it.
    std::int64_t Value() const { return static_cast<std::int64_t>(m_hash.Value()); }

private:
    WordHash m_hash;
};

}  // namespace kzjournal

#endif
