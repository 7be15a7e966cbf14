#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "kzstatdistribution.h"

// Any bytes, as an encoded form and as values. A form that is refused changes nothing, and one that
// is read is the only one of its distribution. What is added in parts equals the whole.

namespace {

void Check(bool holds) {
    if (!holds) std::abort();
}

std::string Encoded(const CKZStatDistribution& distribution) {
    std::string bytes;
    distribution.Encode(bytes);
    return bytes;
}

/// What holds for every distribution.
void CheckStatistics(const CKZStatDistribution& distribution) {
    const std::uint64_t ordered = distribution.GetCount() - distribution.GetNaNCount();
    std::uint64_t inBuckets = 0;
    double former = -HUGE_VAL;
    distribution.ForEachBucket([&](double low, double high, std::uint64_t count) {
        Check(count > 0 && former <= low && low <= high);
        former = high;
        inBuckets += count;
    });
    Check(inBuckets == ordered);
    Check(distribution.CountBelow(HUGE_VAL) <= ordered);

    double quantile = distribution.GetMinimum();
    for (const double q : {0.0, 0.01, 0.5, 0.9, 0.99, 0.999, 1.0}) {
        const double next = distribution.Quantile(q);
        Check(ordered == 0 ? std::isnan(next) : next >= quantile);
        quantile = next;
    }
    Check(ordered == 0 || quantile == distribution.GetMaximum());
}

void ReadAsForm(std::string_view form) {
    CKZStatDistribution kept;
    kept.Add(7);
    CKZStatDistribution distribution = kept;
    if (!distribution.Decode(form)) {
        Check(distribution == kept);
        return;
    }
    Check(Encoded(distribution) == form);
    CheckStatistics(distribution);
    CKZStatDistribution fresh;
    Check(fresh.Decode(form) && fresh == distribution);
    Check(fresh.GetMemorySize() <= 256 * form.size());
    if (distribution.GetCount() > ~std::uint64_t{0} / 2) return;
    fresh.Add(distribution);
    distribution.Add(distribution);
    Check(fresh == distribution);
    CheckStatistics(distribution);
}

void ReadAsValues(std::string_view bytes) {
    CKZStatDistribution whole;
    CKZStatDistribution odd;
    CKZStatDistribution even;
    for (; bytes.size() >= sizeof(double); bytes.remove_prefix(sizeof(double))) {
        double value = 0;
        std::memcpy(&value, bytes.data(), sizeof value);
        whole.Add(value);
        odd.Add(value);
        std::swap(odd, even);
    }
    odd.Add(even);
    Check(odd == whole);
    CheckStatistics(whole);
    ReadAsForm(Encoded(whole));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A copy of exactly this size, so that the address sanitizer sees a read of the next byte.
    const auto bytes = std::make_unique<char[]>(size);
    if (size > 0) std::memcpy(bytes.get(), data, size);
    ReadAsForm({bytes.get(), size});
    ReadAsValues({bytes.get(), size});
    return 0;
}
