#ifndef KZSTATDISTRIBUTION_H
#define KZSTATDISTRIBUTION_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

#include "kzstat_export.h"

/// The distribution of any number of values: a histogram whose buckets are narrow everywhere, so
/// that it needs no range and clips nothing. Distributions add up exactly: the sum of those of two
/// clients, slices or machines is the distribution of all their values, and so are its quantiles.
///
/// Each power of two from the smallest normal double to the largest has 128 buckets of equal width;
/// negative values have the same buckets mirrored. Zero and the denormal numbers share a bucket,
/// and each infinity has one. The middle of a bucket is within 1/256, 0.4 %, of each normal value
/// in it. A NaN is counted, but has no bucket and no place in an order.
///
/// Counts are whole numbers of 64 bits, and nothing is rounded. Any values added in any order, or
/// split in any way and merged, give the same distribution to the bit, on every architecture.
///
/// An empty distribution takes one pointer. Otherwise, it takes about 130 bytes, and 270 bytes for
/// each power of two that has values; these grow to 530, 800 and 1,050 as a bucket exceeds 16, 32
/// and 48 bits. Up to fifteen powers between two that have values take as much where these came one
/// by one.
///
/// Compatible: one thread at a time changes an object and no other reads it meanwhile.
class KZSTAT_EXPORT CKZStatDistribution {
public:
    CKZStatDistribution() noexcept;
    ~CKZStatDistribution();
    CKZStatDistribution(const CKZStatDistribution& other);
    CKZStatDistribution& operator=(const CKZStatDistribution& other);
    /// Leave `other` empty.
    CKZStatDistribution(CKZStatDistribution&& other) noexcept;
    CKZStatDistribution& operator=(CKZStatDistribution&& other) noexcept;

    // If memory runs out, these throw `std::bad_alloc`, and if the count would exceed 2^64 - 1,
    // `std::overflow_error`. Nothing was added then. They allocate nothing if the powers of two
    // that they add to had values before, even before `Clear`, and counts as large.

    /// Counts one value.
    void Add(double value);
    /// Counts every value of `other`, which may be this one.
    void Add(const CKZStatDistribution& other);

    /// Forgets the values but keeps the memory for the next ones. Assigning an empty distribution
    /// frees it.
    void Clear() noexcept;

    /// The number of values, of which `GetNaNCount` are not a number.
    std::uint64_t GetCount() const noexcept;
    std::uint64_t GetNaNCount() const noexcept;

    /// The smallest and the largest value, exactly; a negative zero counts as zero. NaN if there
    /// are no values other than NaN.
    double GetMinimum() const noexcept;
    double GetMaximum() const noexcept;

    /// The value of rank ceil(q * n) among the n values other than NaN in ascending order. Exact
    /// for the ranks 1 and n, which a `q` of at most 0 and one of at least 1 stand for; otherwise
    /// the middle of its bucket, but not outside [`GetMinimum()`, `GetMaximum()`]: at most 1/256
    /// from the true value, relative to it, unless that is denormal. NaN if n is 0 or `q` is NaN.
    ///
    /// A `q` that was written or computed as a decimal, such as 0.07 or 99.9 / 100, is seldom that
    /// number exactly. So a product that exceeds a whole number by less than one part in 10^15 is
    /// taken for that number: 0.07 of 100 values is rank 7, not 8.
    double Quantile(double q) const noexcept;

    /// The number of values below the bucket of `x`. They are all below `x`; those missing lie in
    /// the bucket of `x`. Exact if `x` is positive and the lower bound of a bucket, as powers of
    /// two are, or if no value shares its bucket; all values other than NaN if `x` is above the
    /// maximum; 0 if it is NaN.
    std::uint64_t CountBelow(double x) const noexcept;

    /// Calls `visit(double low, double high, std::uint64_t count)` for each bucket that has values,
    /// in ascending order. A positive bucket is [low, high), a negative one (low, high]; for zero
    /// and the infinities low equals high. The counts add up to `GetCount() - GetNaNCount()`.
    /// `visit` must not change the distribution.
    template <class Visit>
    void ForEachBucket(Visit&& visit) const {
        using Visitor = std::remove_reference_t<Visit>;
        VisitBuckets(
            [](void* visitor, double low, double high, std::uint64_t count) {
                (*static_cast<Visitor*>(visitor))(low, high, count);
            },
            const_cast<void*>(static_cast<const void*>(std::addressof(visit))));
    }

    /// Appends the encoded form (docs/distribution.md): some 20 bytes, and 1 to 2 for a bucket that
    /// has values, 10 at most for their number. Equal distributions have equal forms. If memory
    /// runs out, throws and leaves `bytes` as they were.
    void Encode(std::string& bytes) const;

    /// Becomes the distribution whose encoded form `bytes` are, all of them. Otherwise, returns
    /// false and stays as it was; so it does if memory runs out, which throws. Allocates at most
    /// 256 bytes for each byte of the form, and nothing where `Add` would allocate nothing.
    bool Decode(std::string_view bytes);

    /// Adds the distribution whose encoded form `bytes` are, all of them, as `Add` does, but faster
    /// than by way of another object. Otherwise, returns false and adds nothing.
    bool AddEncoded(std::string_view bytes);

    /// The number of bytes that this object owns, without those that the allocator adds: at most
    /// 4.3 million, if there are values in every power of two.
    std::size_t GetMemorySize() const noexcept;

    /// True if both have the same values, as far as distributions tell values apart. What memory
    /// they own does not matter.
    bool operator==(const CKZStatDistribution& other) const noexcept;
    bool operator!=(const CKZStatDistribution& other) const noexcept { return !(*this == other); }

private:
    friend class CKZStatGenDistributionTable;

    struct State;
    using BucketVisitor = void (*)(void* visitor, double low, double high, std::uint64_t count);

    bool TryAdd(double value);
    void AddWithCare(double value);
    void AddForm(std::string_view bytes, std::uint64_t count);
    State& FindOrCreateState();
    std::uint64_t GetOrderedCount() const noexcept;
    void VisitBuckets(BucketVisitor visit, void* visitor) const;

    std::unique_ptr<State> m_state;  // null until there is something to count
};

#endif
