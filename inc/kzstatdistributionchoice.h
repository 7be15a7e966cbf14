#ifndef KZSTATDISTRIBUTIONCHOICE_H
#define KZSTATDISTRIBUTIONCHOICE_H

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <string_view>

#include "kzstat_export.h"
#include "kzstatpointtypeenum.h"

/// The names of which a generator collects the distribution of values. Compatible.
struct KZSTAT_EXPORT CKZStatDistributionChoice {
    using PointType = CKZStatPointTypeEnum::PointType;

    static constexpr std::size_t kUsualMemoryLimit = std::size_t{64} << 20;

    /// Whether the values of `name` are collected; none are where it is empty. Called while values
    /// are reported, by several threads at once, and again for the same name. REQUIRES: it always
    /// gives the same answer for the same name and type, does not throw and does not call the
    /// library.
    std::function<bool(std::string_view name, PointType type)> collects;

    /// Bytes. Once all distributions of the generator take more, or two million names have one, no
    /// further name gets one. Those of the names that have one go on and may grow: a name takes a
    /// distribution of the run, one of the slice, and one for each lane and slice in flight in
    /// which it is reported, of 270 to 1,050 bytes for each power of two that its values lie in; in
    /// lanes, up to fifteen powers between two of them take as much. Times of one microsecond to
    /// one hour lie in 32; values in all powers of two would take 4.3 MB each.
    std::size_t memoryLimit = kUsualMemoryLimit;

    /// All names of these types.
    static CKZStatDistributionChoice OfKinds(std::initializer_list<PointType> kinds,
                                             std::size_t memoryLimit = kUsualMemoryLimit);
    /// What people ask percentiles of: `Timer`, `TransactionTimer` and `Measurement`.
    static CKZStatDistributionChoice Usual();
    static CKZStatDistributionChoice None() { return {}; }
};

#endif
