#ifndef KZSTATPROGRAM_EXPORTFORMATS_H
#define KZSTATPROGRAM_EXPORTFORMATS_H

#include <memory>
#include <string>
#include <vector>

#include "kzjournalrun.h"
#include "kzjournalslice.h"

namespace kzstatprogram {

/// Turns records into the text of a format. Numbers read back to the same double. Compatible.
class ExportFormat {
public:
    virtual ~ExportFormat() = default;
    /// What comes before the first record.
    virtual std::string Begin() const { return {}; }
    /// Of the record at `position`. `gap` is the time without slices before this one, in seconds.
    virtual std::string RecordText(const kzjournal::Slice& slice, std::size_t position,
                                   double gap) const = 0;
};

std::vector<std::string> ExportFormatNames();

/// REQUIRES: one of the names.
std::unique_ptr<ExportFormat> MakeExportFormat(const std::string& name, const kzjournal::Run& run);

/// "csv" in which no name is a formula: a spreadsheet runs what begins with one of = + - @, so that
/// names that do get a ' there. Tabs and line ends count as such a beginning.
std::unique_ptr<ExportFormat> MakeSpreadsheetSafeCsv();

}  // namespace kzstatprogram

#endif
