#include "kzstatmessage.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>
#include <utility>

#include "ryp/numbertext.h"
#include "ryp/truncate.h"

namespace {

constexpr int kDecimals = 3;

bool IsDigits(std::string_view text) {
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

std::string_view WithoutMinus(std::string_view text) {
    return !text.empty() && text.front() == '-' ? text.substr(1) : text;
}

/// Digits, a point and digits, with a minus before them or not.
bool IsDecimal(std::string_view field) {
    const std::string_view text = WithoutMinus(field);
    const std::size_t point = text.find('.');
    return point != std::string_view::npos && IsDigits(text.substr(0, point)) &&
           IsDigits(text.substr(point + 1));
}

template <class Number>
bool Parse(std::string_view text, Number& number) {
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
        const std::size_t end = m_text.find(CKZStatMessageWriter::kFieldEnd, m_next);
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
        return (isSpecial || IsDecimal(field)) && Parse(field, number);
    }

    template <class Whole>
    bool ReadWhole(Whole& number) {
        std::string_view field;
        return Read(field) && IsDigits(WithoutMinus(field)) && Parse(field, number);
    }

    bool ReadCount(double& count) {
        long long whole = 0;
        if (!ReadWhole(whole)) return false;
        count = static_cast<double>(whole);
        return true;
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

bool ReadAggregate(FieldReader& reader, CKZStatAggregate& aggregate) {
    return reader.ReadDecimal(aggregate.minimum) && reader.ReadDecimal(aggregate.maximum) &&
           reader.ReadCount(aggregate.count) && reader.ReadDecimal(aggregate.sum) &&
           reader.ReadDecimal(aggregate.sumSqr);
}

bool ReadRecord(FieldReader& reader, CKZStatMessage::RecordForm form,
                CKZStatMessageRecord& record) {
    if (!reader.Read(record.name) || !reader.ReadType(record.type)) return false;
    if (form == CKZStatMessage::LastsRecords) return ReadAggregate(reader, record.lasts);
    double average = 0;
    return ReadAggregate(reader, record.totals) && reader.ReadDecimal(average) &&
           ReadAggregate(reader, record.lasts) && reader.ReadDecimal(average);
}

}  // namespace

MeasurementArrayItem CKZStatMessageRecord::GetItem(double time) const {
    return {time,
            totals.minimum,
            totals.maximum,
            totals.count,
            totals.sum,
            totals.Average(),
            totals.Deviation().value,
            lasts.minimum,
            lasts.maximum,
            lasts.count,
            lasts.sum,
            lasts.Average(),
            lasts.Deviation().value};
}

void CKZStatMessageWriter::WriteHeader(const RWCString& generatorName, double sliceLength,
                                       double elapsed, int sliceId) {
    WriteText(generatorName.view());
    WriteDouble(sliceLength);
    WriteSlice(elapsed, sliceId);
}

void CKZStatMessageWriter::WriteSlice(double elapsed, int sliceId) {
    WriteDouble(elapsed);
    WriteWhole(sliceId);
}

void CKZStatMessageWriter::WriteRecord(std::string_view name, PointType type,
                                       const CKZStatAggregate& totals,
                                       const CKZStatAggregate& lasts) {
    WriteNameAndType(name, type);
    WriteAggregate(totals);
    WriteDouble(totals.Average());
    WriteAggregate(lasts);
    WriteDouble(lasts.Average());
}

void CKZStatMessageWriter::WriteLastsRecord(std::string_view name, PointType type,
                                            const CKZStatAggregate& lasts) {
    WriteNameAndType(name, type);
    WriteAggregate(lasts);
}

void CKZStatMessageWriter::WriteNameAndType(std::string_view name, PointType type) {
    WriteText(name);
    WriteText(CKZStatPointTypeEnum::GetTypeName(type));
}

void CKZStatMessageWriter::WriteAggregate(const CKZStatAggregate& aggregate) {
    WriteDouble(aggregate.minimum);
    WriteDouble(aggregate.maximum);
    WriteWhole(RyPTruncate<long long>(aggregate.count));
    WriteDouble(aggregate.sum);
    WriteDouble(aggregate.sumSqr);
}

void CKZStatMessageWriter::WriteText(std::string_view field) {
    m_text.append(field.data(), field.size()).append(kFieldEnd);
}

void CKZStatMessageWriter::WriteDouble(double field) {
    RyPAppendDouble(field, m_text, kDecimals);
    m_text += kFieldEnd;
}

void CKZStatMessageWriter::WriteWhole(long long field) {
    RyPAppendInt(field, m_text);
    m_text += kFieldEnd;
}

bool CKZStatMessage::Read(const char* text, std::size_t length, RecordForm form,
                          std::size_t& faultPosition) {
    FieldReader reader(std::string_view(text, length));
    CKZStatMessage read;
    bool isWhole = reader.Read(read.m_generatorName) && reader.ReadDecimal(read.m_sliceLength) &&
                   reader.ReadDecimal(read.m_elapsed) && reader.ReadWhole(read.m_sliceId);
    while (isWhole && !reader.AtEnd()) {
        CKZStatMessageRecord record;
        isWhole = ReadRecord(reader, form, record);
        if (isWhole) read.Add(std::move(record));
    }
    if (!isWhole) {
        faultPosition = reader.Position();
        return false;
    }
    *this = std::move(read);
    return true;
}

void CKZStatMessage::Add(CKZStatMessageRecord&& record) {
    const std::string_view name = record.name.view();
    if (PositionOf(name) == CKZStatNameIndex::kNone) m_index.Add(name, m_records.size());
    m_records.push_back(std::move(record));
}

std::size_t CKZStatMessage::PositionOf(std::string_view name) const {
    return m_index.Find(name, [this](std::size_t at) { return m_records[at].name.view(); });
}

const CKZStatMessageRecord* CKZStatMessage::FindRecord(std::string_view name) const {
    const std::size_t position = PositionOf(name);
    return position == CKZStatNameIndex::kNone ? nullptr : &m_records[position];
}
