#include <memory>

#include "commands.h"
#include "exportformats.h"
#include "kzjournalreader.h"
#include "rangeoptions.h"

namespace kzstat {
namespace {

struct ExportOptions {
    std::string journal;
    std::string format;
    RangeOptions range;
};

ExitStatus Export(const ExportOptions& options, Output& output) {
    kzjournal::Reader journal(options.journal);
    const auto format = MakeExportFormat(options.format, journal.Facts());
    output.Write(format->Begin());
    journal.ForEachSlice(options.range.RangeOf(journal), [&](const CKZStatMessage& slice) {
        for (const CKZStatMessageRecord& record : slice.GetRecords())
            output.Write(format->RecordText(slice, record));
    });
    return kDone;
}

}  // namespace

void DeclareExport(CLI::App& app, Action& action) {
    CLI::App* const command =
        app.add_subcommand("export", "Write every record of a run on standard output");
    const auto options = std::make_shared<ExportOptions>();
    DeclareJournal(*command, "RUN", options->journal);
    command->add_option("--format", options->format, "csv, json (a line each) or influx")
        ->required()
        ->check(CLI::IsMember(ExportFormatNames()))
        ->type_name("FORMAT");
    options->range.Declare(*command);
    command->footer("Example: kzstat export run.kzj --format csv > run.csv");
    command->final_callback([options, &action] {
        action = [options](Output& output) { return Export(*options, output); };
    });
}

}  // namespace kzstat
