#ifndef KZJOURNALSLICESUM_H
#define KZJOURNALSLICESUM_H

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "kzjournalslice.h"
#include "kzstatdistributionsum.h"
#include "kzstatmessage.h"

namespace kzjournal {

/// Makes a slice what it is as a sum of slices: without message, totals and percentiles.
void MakeSum(Slice& slice);

/// Whether both say the same of the same names, in any order, NaN being equal to itself.
bool AreSameSums(const Slice& a, const Slice& b);

/// Adds up what slices say of each name. Compatible.
class SliceSum {
public:
    /// Adds a slice, or a sum, that ends after those before. Returns false where what comes out
    /// would depend on how the slices are grouped: a count is negative or not a number, or a type
    /// changes. The sum is worth nothing then, nor is it after an exception: `Error` where a
    /// distribution is damaged, `std::overflow_error` where it would have too many values.
    bool Add(const Slice& slice);

    /// The sum in the form of a slice.
    Slice Get() const;

private:
    struct Name {
        CKZStatMessageRecord record;
        CKZStatDistributionSum distribution;
    };

    Name& Find(const CKZStatMessageRecord& record);

    Slice m_last;  // without its records
    std::vector<Name> m_names;
    std::unordered_map<std::string, std::size_t> m_positions;  // in m_names
};

}  // namespace kzjournal

#endif
