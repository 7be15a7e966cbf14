#include "text/exportformats.h"

#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>

#include "ryp/truncate.h"
#include "text/numbers.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

std::string TypeText(const CKZStatMessageRecord& record) {
    return CKZStatPointTypeEnum::GetStringFromEnumType(record.type);
}

/// Of `kzjournal::kStoredQuantiles`, as the columns of a journal.
constexpr const char* kPercentileNames[] = {"last_p50", "last_p90", "last_p95", "last_p99",
                                            "last_p999"};

/// A statistic under its name. Minima, maxima and averages mean nothing without values.
struct Field {
    std::string name;
    double value;
    bool isThere;
};

void AddFields(const std::string& prefix, const CKZStatAggregate& aggregate,
               std::vector<Field>& fields) {
    const bool hasValues = aggregate.HasValues();
    fields.push_back({prefix + "count", aggregate.count, true});
    fields.push_back({prefix + "minimum", aggregate.minimum, hasValues});
    fields.push_back({prefix + "maximum", aggregate.maximum, hasValues});
    fields.push_back({prefix + "average", aggregate.Average(), hasValues});
    fields.push_back({prefix + "sum", aggregate.sum, true});
    fields.push_back({prefix + "sum_of_squares", aggregate.sumSqr, true});
}

void AddStoredPercentiles(const kzjournal::Slice& slice, std::size_t position,
                          std::vector<Field>& fields) {
    const kzjournal::Percentiles& percentiles = slice.distributions.PercentilesOf(position);
    for (std::size_t i = 0; i < percentiles.size(); ++i)
        fields.push_back({kPercentileNames[i], percentiles[i], !std::isnan(percentiles[i])});
}

void AddPercentiles(const kzjournal::Slice& slice, std::size_t position,
                    const std::vector<Percentile>& percentiles, std::vector<Field>& fields) {
    CKZStatDistribution distribution;
    slice.ReadDistribution(position, distribution);
    for (const Percentile& each : percentiles) {
        const double value = distribution.Quantile(each.quantile);
        fields.push_back({"last_" + each.title, value, !std::isnan(value)});
    }
}

std::vector<Field> FieldsOf(const kzjournal::Slice& slice, std::size_t position,
                            const ExportContent& content) {
    const CKZStatMessageRecord& record = slice.records[position];
    std::vector<Field> fields;
    AddFields("", record.totals, fields);
    AddFields("last_", record.lasts, fields);
    if (content.percentiles)
        AddPercentiles(slice, position, *content.percentiles, fields);
    else
        AddStoredPercentiles(slice, position, fields);
    return fields;
}

/// Those that every record has.
std::vector<Field> FieldsOf(const ExportContent& content) {
    kzjournal::Slice slice;
    slice.records.emplace_back();
    return FieldsOf(slice, 0, content);
}

/// The ASCII characters and their wide forms.
bool BeginsFormula(std::string_view text) {
    for (const char* const begin :
         {"=", "+", "-", "@", "\t", "\r", "\n", "\uff1d", "\uff0b", "\uff0d", "\uff20"})
        if (text.starts_with(begin)) return true;
    return false;
}

/// With a ' in front of whatever a spreadsheet could take for a formula: at the beginning and,
/// since it may cut cells at other characters than those of RFC 4180, behind each of these.
std::string WithoutFormulas(std::string_view text) {
    std::string safe;
    bool isCellBegin = true;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (isCellBegin && BeginsFormula(text.substr(i))) safe += '\'';
        safe += text[i];
        const bool isSeparator =
            std::string_view(",;|\"\t\r\n").find(text[i]) != std::string_view::npos;
        isCellBegin = isSeparator || (isCellBegin && text[i] == ' ');
    }
    return safe;
}

/// RFC 4180: lines end with CR LF; a text with a comma, a quote or a line end stands in quotes.
class Csv : public ExportFormat {
public:
    Csv(bool isSpreadsheetSafe, const ExportContent& content)
        : m_isSpreadsheetSafe(isSpreadsheetSafe), m_content(content) {}

    std::string Begin() const override {
        std::string line = "slice_id,elapsed,name,type";
        for (const Field& field : FieldsOf(m_content)) line.append(",").append(field.name);
        return line + ",gap_before\r\n";
    }

    std::string RecordText(const kzjournal::Slice& slice, std::size_t position,
                           double gap) const override {
        const CKZStatMessageRecord& record = slice.records[position];
        std::string line = std::to_string(slice.id) + "," + ExactNumber(slice.elapsed) + "," +
                           Quoted(NameOf(record)) + "," + TypeText(record);
        for (const Field& field : FieldsOf(slice, position, m_content))
            line.append(",").append(field.isThere ? ExactNumber(field.value) : "");
        return line + "," + ExactNumber(gap) + "\r\n";
    }

private:
    std::string NameOf(const CKZStatMessageRecord& record) const {
        const std::string name = TextOf(record.name);
        return m_isSpreadsheetSafe ? WithoutFormulas(name) : name;
    }

    static std::string Quoted(const std::string& text) {
        if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
        std::string quoted = "\"";
        for (const char byte : text) quoted += byte == '"' ? "\"\"" : std::string(1, byte);
        return quoted + "\"";
    }

    const bool m_isSpreadsheetSafe;
    const ExportContent m_content;
};

using Json = nlohmann::ordered_json;

/// What JSON has no number for is null.
Json Number(double value) {
    return std::isfinite(value) ? Json(value) : Json(nullptr);
}

/// Infinities, for which JSON has no bounds, are counted apart.
Json DistributionJson(const CKZStatDistribution& distribution) {
    std::uint64_t belowAll = 0;
    std::uint64_t aboveAll = 0;
    Json buckets = Json::array();
    distribution.ForEachBucket([&](double low, double high, std::uint64_t count) {
        if (std::isfinite(low) || std::isfinite(high))
            buckets.push_back({low, high, count});
        else
            (low < 0 ? belowAll : aboveAll) = count;
    });
    return {{"count", distribution.GetCount()},
            {"nan_count", distribution.GetNaNCount()},
            {"minus_infinity_count", belowAll},
            {"plus_infinity_count", aboveAll},
            {"minimum", Number(distribution.GetMinimum())},
            {"maximum", Number(distribution.GetMaximum())},
            {"buckets", buckets}};
}

/// An object per line. Bytes that are no UTF-8 become U+FFFD.
class JsonLines : public ExportFormat {
public:
    explicit JsonLines(const ExportContent& content) : m_content(content) {}

    std::string RecordText(const kzjournal::Slice& slice, std::size_t position,
                           double gap) const override {
        const CKZStatMessageRecord& record = slice.records[position];
        Json object{{"slice_id", slice.id},
                    {"elapsed", slice.elapsed},
                    {"name", TextOf(record.name)},
                    {"type", TypeText(record)}};
        for (const Field& field : FieldsOf(slice, position, m_content))
            object[field.name] = field.isThere ? Number(field.value) : Json(nullptr);
        object["gap_before"] = gap;
        if (m_content.hasDistributions) object["last_distribution"] = LastsJson(slice, position);
        return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
    }

private:
    static Json LastsJson(const kzjournal::Slice& slice, std::size_t position) {
        CKZStatDistribution distribution;
        if (!slice.ReadDistribution(position, distribution)) return nullptr;
        return DistributionJson(distribution);
    }

    const ExportContent m_content;
};

/// The line protocol: the measurement `kzstat`, tags, fields and the end of the slice in
/// nanoseconds since 1970. A field that has no number is left out.
class LineProtocol : public ExportFormat {
public:
    LineProtocol(const kzjournal::Run& run, const ExportContent& content)
        : m_content(content),
          m_runTags(",generator=" + Escaped(run.generator) +
                    (run.host.empty() ? "" : ",host=" + Escaped(run.host)) +
                    ",run=" + Escaped(run.id)) {}

    std::string RecordText(const kzjournal::Slice& slice, std::size_t position,
                           double gap) const override {
        const CKZStatMessageRecord& record = slice.records[position];
        std::string line = "kzstat" + m_runTags + ",name=" + Escaped(TextOf(record.name)) +
                           ",type=" + TypeText(record) + " slice_id=" + std::to_string(slice.id) +
                           "i,elapsed=" + ExactNumber(slice.elapsed);
        for (const Field& field : FieldsOf(slice, position, m_content))
            if (field.isThere && std::isfinite(field.value))
                line.append(",").append(field.name).append("=").append(ExactNumber(field.value));
        if (gap > 0) line += ",gap_before=" + ExactNumber(gap);
        return line + " " + EndOf(slice) + "\n";
    }

private:
    /// Microseconds, all that a double has of the present, and three zeros.
    static std::string EndOf(const kzjournal::Slice& slice) {
        return std::to_string(RyPTruncate<long long>(std::round(slice.endTime * 1e6))) + "000";
    }

    /// A tag's value: blanks, commas and equal signs are escaped. A line end cannot be, and a
    /// backslash in front of what is escaped or at the end would be taken for an escape itself.
    static std::string Escaped(const std::string& text) {
        std::string escaped;
        for (const char byte : text) {
            if (byte == ' ' || byte == ',' || byte == '=') escaped += '\\';
            const bool isSafe = byte != '\n' && byte != '\r' && byte != '\\';
            escaped += isSafe ? byte : '_';
        }
        // A tag has no empty value.
        return escaped.empty() ? "_" : escaped;
    }

    const ExportContent m_content;
    const std::string m_runTags;
};

/// As they were sent, in the frames of docs/messages-file.md.
class Messages : public ExportFormat {
public:
    std::string BeginSlice(const kzjournal::Slice& slice) const override {
        return std::to_string(slice.message.size()) + ":" + slice.message + "\n";
    }
    std::string RecordText(const kzjournal::Slice&, std::size_t, double) const override {
        return {};
    }
};

}  // namespace

std::vector<std::string> ExportFormatNames() {
    return {"csv", "json", "influx", "messages"};
}

std::unique_ptr<ExportFormat> MakeExportFormat(const std::string& name, const kzjournal::Run& run,
                                               const ExportContent& content) {
    if (name == "csv") return std::make_unique<Csv>(false, content);
    if (name == "json") return std::make_unique<JsonLines>(content);
    if (name == "messages") return std::make_unique<Messages>();
    return std::make_unique<LineProtocol>(run, content);
}

std::unique_ptr<ExportFormat> MakeSpreadsheetSafeCsv(const ExportContent& content) {
    return std::make_unique<Csv>(true, content);
}

}  // namespace kzstatprogram
