#include <memory>
#include <string>

#include "commands/commands.h"
#include "commands/rangeoptions.h"
#include "figures/runhistory.h"
#include "files/filechecks.h"
#include "files/newfile.h"
#include "page/pagejson.h"

namespace kzstatprogram {
namespace {

struct ReportOptions {
    std::string journal;
    std::string page;
    RangeOptions range;
};

ExitStatus Report(const ReportOptions& options, const RunOpener& runs, Output& output) {
    CheckJournals({options.journal});
    kzfiles::RefuseToOverwrite({options.journal}, options.page);
    kzfiles::RefuseToReplaceAJournal(options.page);
    const std::unique_ptr<RunReader> run = runs.Open(options.journal);
    const std::string description = DescribeJournal(*run, options.journal);
    const SliceRange drawn = options.range.RangeWithoutLoad(*run);
    const RunHistory history(runs, options.journal,
                             {{drawn.from, drawn.to}, options.range.RangeOf(*run)});
    const std::string page = PageWith(PageJson(history));
    if (options.page == "-")
        output.Write(page);
    else
        kzfiles::WriteFile(options.page, page);
    output.Flush();
    TellOnStandardError(description);
    return kDone;
}

}  // namespace

void DeclareReport(CommandLine& line, const RunOpener& runs) {
    Command command = line.AddCommand("report", "Write a page of charts and tables for a browser");
    const auto options = std::make_shared<ReportOptions>();
    DeclareJournal(command, "RUN", options->journal);
    command.Add("-o,--output", options->page, "The HTML file to write (- for standard output)")
        .Required()
        .ValueName("PAGE");
    options->range.Declare(command);
    command.Footer("Example: kzstat report run.kzj -o run.html");
    command.Does([options, &runs](Output& output) { return Report(*options, runs, output); });
}

}  // namespace kzstatprogram
