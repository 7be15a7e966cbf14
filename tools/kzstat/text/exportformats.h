#ifndef KZSTATPROGRAM_EXPORTFORMATS_H
#define KZSTATPROGRAM_EXPORTFORMATS_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kzjournalrun.h"
#include "kzjournalslice.h"
#include "text/percentile.h"

namespace kzstatprogram {

/// What is exported of a record beside its aggregates. Compatible.
struct ExportContent {
    /// Of the slice, from its distribution; nothing for those that the journal stores beside it.
    std::optional<std::vector<Percentile>> percentiles;
    bool hasDistributions = false;  ///< those of the slice; in "json" alone
};

/// Turns records into the text of a format. Numbers read back to the same double. Compatible.
class ExportFormat {
public:
    virtual ~ExportFormat() = default;
    /// What comes before the first record.
    virtual std::string Begin() const { return {}; }
    /// What comes before the records of a slice.
    virtual std::string BeginSlice(const kzjournal::Slice&) const { return {}; }
    /// Of the record at `position`. `gap` is the time without slices before this one, in seconds.
    /// Throws kzjournal::Error where a distribution is damaged.
    virtual std::string RecordText(const kzjournal::Slice& slice, std::size_t position,
                                   double gap) const = 0;
};

std::vector<std::string> ExportFormatNames();

/// REQUIRES: one of the names.
std::unique_ptr<ExportFormat> MakeExportFormat(const std::string& name, const kzjournal::Run& run,
                                               const ExportContent& content = {});

/// "csv" in which no name is a formula: a spreadsheet runs what begins with one of = + - @, so that
/// names that do get a ' there. Tabs and line ends count as such a beginning.
std::unique_ptr<ExportFormat> MakeSpreadsheetSafeCsv(const ExportContent& content = {});

}  // namespace kzstatprogram

#endif
