#include "kzstatmessage.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>
#include <utility>

#include "kzstatdumpfield.h"

namespace {

bool IsDigits(std::string_view text) {
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

/// Digits, a point and digits, with a sign before them or not.
bool IsDecimal(std::string_view text) {
    if (!text.empty() && text.front() == '-') text.remove_prefix(1);
    const std::size_t point = text.find('.');
    return point != std::string_view::npos && IsDigits(text.substr(0, point)) &&
           IsDigits(text.substr(point + 1));
}

template <class Number>
bool ParseWhole(std::string_view text, Number& number) {
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    return result.ec == std::errc() && result.ptr == end;
}

/// Reads the fields of a text one after the other and remembers where the last one began.
/// Once a field is refused, nothing is read any more.
class FieldReader {
public:
    explicit FieldReader(std::string_view text) : m_text(text) {}

    bool AtEnd() const { return m_next == m_text.size(); }
    std::size_t Position() const { return m_position; }

    bool Read(std::string_view& field) {
        m_position = m_next;
        const std::size_t end = m_text.find(kFieldEnd, m_next);
        if (end == std::string_view::npos) return false;
        field = m_text.substr(m_next, end - m_next);
        m_next = end + 1;
        return true;
    }

    bool Read(RWCString& text) {
        std::string_view field;
        if (!Read(field)) return false;
        text = RWCString(field.data(), field.size());
        return true;
    }

    bool ReadDecimal(double& number) {
        std::string_view field;
        if (!Read(field)) return false;
        const bool isSpecial = field == "nan" || field == "inf" || field == "-inf";
        return (isSpecial || IsDecimal(field)) && ParseWhole(field, number);
    }

    bool ReadCount(double& count) {
        std::string_view field;
        long long whole = 0;
        if (!Read(field) || !IsDigits(field) || !ParseWhole(field, whole)) return false;
        count = static_cast<double>(whole);
        return true;
    }

    bool ReadId(int& id) {
        std::string_view field;
        return Read(field) && IsDigits(field) && ParseWhole(field, id);
    }

    bool ReadType(CKZStatPointTypeEnum::PointType& type) {
        std::string_view field;
        if (!Read(field)) return false;
        const auto* const known =
            std::find(std::begin(MeasurementTypeNames), std::end(MeasurementTypeNames), field);
        if (known != std::end(MeasurementTypeNames)) {
            const auto bit = known - std::begin(MeasurementTypeNames);
            type = static_cast<CKZStatPointTypeEnum::PointType>(1 << bit);
            return true;
        }
        type = CKZStatPointTypeEnum::NotSet;
        return field == CKZStatPointTypeEnum::GetTypeName(CKZStatPointTypeEnum::NotSet);
    }

private:
    std::string_view m_text;
    std::size_t m_next = 0;
    std::size_t m_position = 0;
};

bool ReadAggregate(FieldReader& reader, CKZStatMessageRecord::Aggregate& aggregate) {
    return reader.ReadDecimal(aggregate.minimum) && reader.ReadDecimal(aggregate.maximum) &&
           reader.ReadCount(aggregate.count) && reader.ReadDecimal(aggregate.sum) &&
           reader.ReadDecimal(aggregate.sumSqr);
}

bool ReadRecord(FieldReader& reader, CKZStatMessage::RecordForm form,
                CKZStatMessageRecord& record) {
    if (!reader.Read(record.name) || !reader.ReadType(record.type)) return false;
    if (form == CKZStatMessage::LastsRecords) {
        if (!ReadAggregate(reader, record.lasts)) return false;
        // Lasts records carry no average: the one that a full record would have.
        if (record.lasts.count > 0) record.lasts.average = record.lasts.sum / record.lasts.count;
        return true;
    }
    return ReadAggregate(reader, record.totals) && reader.ReadDecimal(record.totals.average) &&
           ReadAggregate(reader, record.lasts) && reader.ReadDecimal(record.lasts.average);
}

double StandardDeviation(const CKZStatMessageRecord::Aggregate& aggregate) {
    if (!(aggregate.count > 0)) return -1;
    const double mean = aggregate.sum / aggregate.count;
    const double variance = aggregate.sumSqr / aggregate.count - mean * mean;
    return variance < 0 ? 0 : std::sqrt(variance);  // below 0 only by rounding
}

}  // namespace

MeasurementArrayItem CKZStatMessageRecord::GetItem(double time) const {
    return {time,
            totals.minimum,
            totals.maximum,
            totals.count,
            totals.sum,
            totals.average,
            StandardDeviation(totals),
            lasts.minimum,
            lasts.maximum,
            lasts.count,
            lasts.sum,
            lasts.average,
            StandardDeviation(lasts)};
}

bool CKZStatMessage::Read(const char* text, std::size_t length, RecordForm form,
                          std::size_t& faultPosition) {
    FieldReader reader(std::string_view(text, length));
    CKZStatMessage read;
    bool isWhole = reader.Read(read.m_generatorName) && reader.ReadDecimal(read.m_sliceLength) &&
                   reader.ReadDecimal(read.m_elapsed) && reader.ReadId(read.m_sliceId);
    while (isWhole && !reader.AtEnd()) {
        CKZStatMessageRecord record;
        isWhole = ReadRecord(reader, form, record);
        if (isWhole) read.m_records.push_back(std::move(record));
    }
    if (!isWhole) {
        faultPosition = reader.Position();
        return false;
    }
    *this = std::move(read);
    return true;
}

const CKZStatMessageRecord* CKZStatMessage::FindRecord(const char* name) const {
    const RWCString wanted(name);
    for (const CKZStatMessageRecord& record : m_records)
        if (record.name == wanted) return &record;
    return nullptr;
}
