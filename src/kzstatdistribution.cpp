#include "kzstatdistribution.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "kzstatbucket.h"
#include "kzstatdistributionform.h"
#include "kzstatdistributionstate.h"

namespace {

using kzstatdistributionform::Reader;
using kzstatdistributionform::Writer;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr std::uint64_t kMaxCount = std::numeric_limits<std::uint64_t>::max();

[[noreturn]] void RefuseCount() {
    throw std::overflow_error("a distribution cannot count 2^64 values");
}

/// REQUIRES: `n` is not 0.
std::uint64_t RankOf(double q, std::uint64_t n) {
    if (q <= 0) return 1;
    if (q >= 1) return n;
    // Covers the rounding of q, of a division that made it, and of the multiplications here.
    constexpr double kSlightlyLess = 1 - 2 * std::numeric_limits<double>::epsilon();
    const double rank = std::ceil(q * kSlightlyLess * static_cast<double>(n));
    if (rank >= static_cast<double>(n)) return n;
    return std::max(static_cast<std::uint64_t>(rank), std::uint64_t{1});
}

}  // namespace

CKZStatDistribution::CKZStatDistribution() noexcept = default;
CKZStatDistribution::~CKZStatDistribution() = default;
CKZStatDistribution::CKZStatDistribution(CKZStatDistribution&& other) noexcept = default;
CKZStatDistribution& CKZStatDistribution::operator=(CKZStatDistribution&& other) noexcept = default;

CKZStatDistribution::CKZStatDistribution(const CKZStatDistribution& other) {
    Add(other);
}

CKZStatDistribution& CKZStatDistribution::operator=(const CKZStatDistribution& other) {
    return *this = CKZStatDistribution(other);
}

void CKZStatDistribution::Add(double value) {
    if (!TryAdd(value)) AddWithCare(value);
}

void CKZStatDistribution::AddWithCare(double value) {
    FindOrCreateState().Add(value);
}

void CKZStatDistribution::Add(const CKZStatDistribution& other) {
    if (other.GetCount() > 0) FindOrCreateState().Add(*other.m_state);
}

void CKZStatDistribution::State::Add(double value) {
    if (count == kMaxCount) RefuseCount();
    const bool isNaN = std::isnan(value);
    if (!isNaN) table.Increment(kzstatbucket::Of(value));
    TakeValues(1, isNaN ? 1 : 0, value, value);
    if (!isNaN && HasRoom()) table.MoveWindow(minimum, maximum);
}

void CKZStatDistribution::State::Add(const State& other) {
    if (other.count > kMaxCount - count) RefuseCount();
    table.Add(other.table);
    TakeValues(other.count, other.nanCount, other.minimum, other.maximum);
}

void CKZStatDistribution::Clear() noexcept {
    if (GetCount() > 0) m_state->Clear();
}

std::uint64_t CKZStatDistribution::GetCount() const noexcept {
    return m_state ? m_state->count : 0;
}

std::uint64_t CKZStatDistribution::GetNaNCount() const noexcept {
    return m_state ? m_state->nanCount : 0;
}

std::uint64_t CKZStatDistribution::GetOrderedCount() const noexcept {
    return m_state ? m_state->GetOrderedCount() : 0;
}

double CKZStatDistribution::GetMinimum() const noexcept {
    return GetOrderedCount() > 0 ? m_state->minimum : kNaN;
}

double CKZStatDistribution::GetMaximum() const noexcept {
    return GetOrderedCount() > 0 ? m_state->maximum : kNaN;
}

double CKZStatDistribution::Quantile(double q) const noexcept {
    const std::uint64_t n = GetOrderedCount();
    if (n == 0 || std::isnan(q)) return kNaN;
    const std::uint64_t rank = RankOf(q, n);
    if (rank == 1) return m_state->minimum;
    if (rank == n) return m_state->maximum;
    const double middle = kzstatbucket::MiddleOf(m_state->table.OfRank(rank));
    return std::clamp(middle, m_state->minimum, m_state->maximum);
}

std::uint64_t CKZStatDistribution::CountBelow(double x) const noexcept {
    if (GetOrderedCount() == 0 || std::isnan(x)) return 0;
    if (x > m_state->maximum) return GetOrderedCount();
    return m_state->table.CountBelow(kzstatbucket::Of(x));
}

void CKZStatDistribution::VisitBuckets(BucketVisitor visit, void* visitor) const {
    if (m_state == nullptr) return;
    m_state->table.ForEach([&](kzstatbucket::Number bucket, std::uint64_t count) {
        const auto [low, high] = kzstatbucket::BoundsOf(bucket);
        visit(visitor, low, high, count);
    });
}

std::size_t CKZStatDistribution::GetMemorySize() const noexcept {
    return m_state ? sizeof *m_state + m_state->table.GetMemorySize() : 0;
}

bool CKZStatDistribution::operator==(const CKZStatDistribution& other) const noexcept {
    if (GetCount() != other.GetCount()) return false;
    if (GetCount() == 0) return true;
    const State& a = *m_state;
    const State& b = *other.m_state;
    return a.nanCount == b.nanCount && a.minimum == b.minimum && a.maximum == b.maximum &&
           a.table == b.table;
}

CKZStatDistribution::State& CKZStatDistribution::FindOrCreateState() {
    if (m_state == nullptr) m_state = std::make_unique<State>();
    return *m_state;
}

namespace {

void WriteTable(Writer& writer, const CKZStatBucketTable& table, double minimum, double maximum) {
    std::uint64_t buckets = 0;
    table.ForEach([&](kzstatbucket::Number, std::uint64_t) { ++buckets; });
    writer.WriteNumber(buckets);
    if (buckets == 0) return;

    writer.WriteDouble(minimum);
    writer.WriteDouble(maximum);
    // The minimum tells the first bucket.
    kzstatbucket::Number next = kzstatbucket::Of(minimum);
    table.ForEach([&](kzstatbucket::Number bucket, std::uint64_t count) {
        writer.WriteBucket(bucket - next, count);
        next = bucket + 1;
    });
}

/// The front of an encoded form.
struct Head {
    std::uint64_t nanCount = 0;
    std::uint64_t buckets = 0;
    double minimum = kInfinity;
    double maximum = -kInfinity;
};

Head ReadHead(Reader& reader) {
    Head head;
    if (reader.ReadByte() != kzstatdistributionform::kVersion) reader.Refuse();
    head.nanCount = reader.ReadNumber();
    head.buckets = reader.ReadNumber();
    if (head.buckets == 0) return head;
    head.minimum = reader.ReadDouble();
    head.maximum = reader.ReadDouble();
    return head;
}

bool IsExtreme(double value) {
    return !std::isnan(value) && !(value == 0 && std::signbit(value));
}

/// Calls `visit(bucket, count)` for each bucket until the reader refuses one. Returns the last one.
template <class Visit>
kzstatbucket::Number ReadBuckets(Reader& reader, const Head& head, Visit&& visit) {
    kzstatbucket::Number next = kzstatbucket::Of(head.minimum);
    const kzstatbucket::Number highest = kzstatbucket::Of(head.maximum);
    for (std::uint64_t left = head.buckets; left > 0; --left) {
        const auto [gap, count] = reader.ReadBucket();
        const std::uint64_t bucket = next + gap;
        if (bucket > highest) reader.Refuse();
        if (!reader.IsGood()) break;
        visit(static_cast<kzstatbucket::Number>(bucket), count);
        next = static_cast<kzstatbucket::Number>(bucket) + 1;
    }
    return next - 1;
}

/// Whether a distribution has the values that the form at the reader tells of; its number is
/// `count` then. Allocates nothing.
bool IsForm(Reader reader, std::uint64_t& count) {
    const Head head = ReadHead(reader);
    count = head.nanCount;
    if (!reader.IsGood()) return false;
    if (head.buckets == 0) return reader.BytesLeft() == 0;
    if (!IsExtreme(head.minimum) || !IsExtreme(head.maximum)) return false;

    const auto first = kzstatbucket::Of(head.minimum);
    const auto last = ReadBuckets(reader, head, [&](auto bucket, std::uint64_t inBucket) {
        const bool mustBeFirst = count == head.nanCount;
        if (mustBeFirst != (bucket == first) || !kzstatbucket::IsUsed(bucket)) reader.Refuse();
        if (inBucket > kMaxCount - count) reader.Refuse();
        count += inBucket;
    });
    if (!reader.IsGood() || reader.BytesLeft() > 0) return false;
    // One value is both the minimum and the maximum.
    return last == kzstatbucket::Of(head.maximum) && head.minimum <= head.maximum &&
           (count - head.nanCount > 1 || head.minimum == head.maximum);
}

/// The same of a whole form. Returns the front of it.
template <class Visit>
Head ForEachBucketOf(std::string_view form, Visit visit) {
    Reader reader(form);
    const Head head = ReadHead(reader);
    if (head.buckets > 0) ReadBuckets(reader, head, visit);
    return head;
}

}  // namespace

void CKZStatDistribution::Encode(std::string& bytes) const {
    const std::size_t before = bytes.size();
    try {
        Writer writer(bytes);
        writer.WriteByte(kzstatdistributionform::kVersion);
        writer.WriteNumber(GetNaNCount());
        if (m_state)
            WriteTable(writer, m_state->table, m_state->minimum, m_state->maximum);
        else
            writer.WriteNumber(0);
    } catch (...) {
        bytes.resize(before);
        throw;
    }
}

bool CKZStatDistribution::Decode(std::string_view bytes) {
    std::uint64_t count = 0;
    if (!IsForm(Reader(bytes), count)) return false;
    if (count == 0) {
        Clear();
        return true;
    }

    State& state = FindOrCreateState();
    ForEachBucketOf(bytes, [&state](auto bucket, std::uint64_t inBucket) {
        state.table.MakeRoomFor(bucket, inBucket);
    });
    state.Clear();
    AddForm(bytes, count);
    return true;
}

bool CKZStatDistribution::AddEncoded(std::string_view bytes) {
    std::uint64_t count = 0;
    if (!IsForm(Reader(bytes), count)) return false;
    if (count == 0) return true;
    if (count > kMaxCount - GetCount()) RefuseCount();

    ForEachBucketOf(bytes, [&table = FindOrCreateState().table](auto bucket, auto inBucket) {
        table.MakeRoomForMore(bucket, inBucket);
    });
    AddForm(bytes, count);
    return true;
}

/// REQUIRES: `bytes` are the form of `count` values, and there is room for them.
void CKZStatDistribution::AddForm(std::string_view bytes, std::uint64_t count) {
    State& state = *m_state;
    const Head head = ForEachBucketOf(bytes, [&state](auto bucket, std::uint64_t inBucket) {
        state.table.Add(bucket, inBucket);
    });
    state.TakeValues(count, head.nanCount, head.minimum, head.maximum);
}
