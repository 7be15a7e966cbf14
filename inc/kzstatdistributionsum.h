#ifndef KZSTATDISTRIBUTIONSUM_H
#define KZSTATDISTRIBUTIONSUM_H

#include <string_view>

#include "kzstataggregate.h"
#include "kzstatdistribution.h"

/// The sum of the distributions of several aggregates, for as long as it has all of their values:
/// of an aggregate with values but without a distribution nobody knows how they were distributed.
/// Takes a pointer and two marks until it is given a distribution.
///
/// Compatible.
class CKZStatDistributionSum {
public:
    /// Adds the values of `aggregate`, whose distribution is `distribution`, or null if there is
    /// none. If memory runs out, throws and adds nothing; without a distribution, never throws.
    void Add(const CKZStatAggregate& aggregate, const CKZStatDistribution* distribution) {
        if (distribution != nullptr) m_values.Add(*distribution);
        Note(aggregate, distribution != nullptr);
    }
    /// The same with the encoded form of the distribution, or an empty text if there is none.
    /// Returns false and adds nothing if it is no form of one.
    bool AddEncoded(const CKZStatAggregate& aggregate, std::string_view form) {
        if (!form.empty() && !m_values.AddEncoded(form)) return false;
        Note(aggregate, !form.empty());
        return true;
    }

    /// The distribution of all values, owned by this object; null if there was none at all or an
    /// aggregate with values had none.
    const CKZStatDistribution* Get() const {
        return m_isThere && !m_lacksValues ? &m_values : nullptr;
    }

    /// Forgets the values but keeps the memory. If there was a distribution, it is an empty one
    /// then.
    void Clear() noexcept {
        m_values.Clear();
        m_lacksValues = false;
    }

private:
    void Note(const CKZStatAggregate& aggregate, bool hasDistribution) {
        m_isThere = m_isThere || hasDistribution;
        m_lacksValues = m_lacksValues || (!hasDistribution && aggregate.count != 0);
    }

    CKZStatDistribution m_values;
    bool m_isThere = false;
    bool m_lacksValues = false;
};

#endif
