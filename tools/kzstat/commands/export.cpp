#include <memory>
#include <string>

#include "commands/commands.h"
#include "commands/percentileoption.h"
#include "commands/rangeoptions.h"
#include "figures/gaps.h"
#include "text/exportformats.h"

namespace kzstatprogram {
namespace {

struct ExportOptions {
    std::string journal;
    std::string format;
    bool isSpreadsheetSafe = false;
    bool hasBuckets = false;
    PercentileOption percentiles;
    RangeOptions range;
};

/// Throws UsageError.
ExportContent ContentOf(const ExportOptions& options) {
    ExportContent content;
    if (options.percentiles.numbers) content.percentiles = options.percentiles.Chosen({});
    content.hasDistributions = options.hasBuckets;
    return content;
}

ExitStatus Export(const ExportOptions& options, const RunOpener& runs, Output& output) {
    if (options.isSpreadsheetSafe && options.format != "csv")
        throw UsageError("--spreadsheet-safe", "only csv is read by spreadsheets");
    if (options.hasBuckets && options.format != "json")
        throw UsageError("--buckets", "only json has room for distributions");
    if (options.percentiles.numbers && options.format == "messages")
        throw UsageError("--percentiles", "messages are written as they were sent");
    const ExportContent content = ContentOf(options);
    CheckJournals({options.journal});
    const std::unique_ptr<RunReader> run = runs.Open(options.journal);
    const std::string description = DescribeJournal(*run, options.journal);
    const auto format = options.isSpreadsheetSafe
                            ? MakeSpreadsheetSafeCsv(content)
                            : MakeExportFormat(options.format, run->Facts(), content);
    output.Write(format->Begin());
    Gaps gaps(run->Facts().sliceLength);
    run->ForEachSlice(options.range.RangeOf(*run), [&](const kzjournal::Slice& slice) {
        const double gap = gaps.Before(slice);
        output.Write(format->BeginSlice(slice));
        for (std::size_t i = 0; i < slice.records.size(); ++i)
            output.Write(format->RecordText(slice, i, gap));
    });
    output.Flush();
    TellOnStandardError(description);
    return kDone;
}

}  // namespace

void DeclareExport(CommandLine& line, const RunOpener& runs) {
    Command command = line.AddCommand("export", "Write every record of a run to standard output");
    const auto options = std::make_shared<ExportOptions>();
    DeclareJournal(command, "RUN", options->journal);
    command.Add("--format", options->format, "csv, json (an object per line), influx or messages")
        .Required()
        .OneOf(ExportFormatNames())
        .ValueName("FORMAT");
    command.AddFlag("--spreadsheet-safe", options->isSpreadsheetSafe,
                    "Put a ' in front of names that a spreadsheet would run as formulas; csv only");
    options->percentiles.Declare(
        command, "The percentiles of each slice to write instead of 50,90,95,99,99.9");
    command.AddFlag("--buckets", options->hasBuckets,
                    "Write the distribution of each slice too; json only");
    options->range.Declare(command, RangeOptions::WholeRun);
    command.Footer(
        "Writes all slices, whatever the load, unless the range is restricted.\n"
        "Example: kzstat export run.kzj --format csv > run.csv");
    command.Does([options, &runs](Output& output) { return Export(*options, runs, output); });
}

}  // namespace kzstatprogram
