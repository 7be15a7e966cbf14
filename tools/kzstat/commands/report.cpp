#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "commands/commands.h"
#include "commands/comparisonoptions.h"
#include "commands/rangeoptions.h"
#include "figures/comparedsides.h"
#include "figures/runhistory.h"
#include "files/filechecks.h"
#include "files/newfile.h"
#include "page/comparisonpage.h"
#include "page/pagejson.h"
#include "terminal/terminaltext.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

using Paths = std::vector<std::string>;

struct ReportOptions {
    std::vector<Paths> groups;
    std::string page;
    ComparisonOptions comparison;
    RangeOptions range;
};

/// Runs without sides are a side each.
std::vector<Paths> SidesOf(const ReportOptions& options) {
    const std::vector<Paths>& groups = options.groups;
    if (groups.size() > 2 || groups.front().empty() || groups.back().empty())
        throw UsageError(
            "name a run, or runs to compare with the first one, or two sides of runs with -- "
            "between them");
    if (groups.size() == 2) return groups;
    std::vector<Paths> sides;
    for (const std::string& path : groups.front()) sides.push_back({path});
    return sides;
}

void RefuseOptionsOfComparisons(const ReportOptions& options) {
    if (options.comparison.leastPercent) throw UsageError("--least", "one run is not compared");
    if (options.comparison.percentiles.numbers)
        throw UsageError("--percentiles", "one run is not compared");
}

RunHistory HistoryOf(RunReader& run, const RunOpener& runs, const std::string& path,
                     const RangeOptions& range) {
    const SliceRange drawn = range.RangeWithoutLoad(run);
    return RunHistory(runs, path, {{drawn.from, drawn.to}, range.RangeOf(run)});
}

/// A page, and what to say of its runs. Compatible.
struct Made {
    std::string page;
    std::vector<std::string> descriptions;
};

Made PageOfRun(const std::string& path, const ReportOptions& options, const RunOpener& runs) {
    const std::unique_ptr<RunReader> run = runs.Open(path);
    std::string description = DescribeJournal(*run, path);
    return {PageWith(PageJson(HistoryOf(*run, runs, path, options.range))),
            {std::move(description)}};
}

RunOfPage ReadForPage(RunReader& run, const std::string& path, const RunOpener& runs,
                      const RangeOptions& options, Sampling sampling,
                      const std::vector<Percentile>& percentiles) {
    const SliceRange range = options.RangeWithSlicesOf(run, path);
    return {path,
            CompletenessText(run),
            range.load.begin.value_or(std::max(range.from, 0.0)),
            range.load.end,
            ReadForComparison(run, range, sampling, percentiles),
            CurvesJson(HistoryOf(run, runs, path, options)),
            DescribeInterruptions(run, runs, path, range.Time())};
}

/// They would differ in nothing, or in the meantime.
void RefuseKnownRun(const std::string& id, const std::string& path, std::set<std::string>& ids) {
    if (!ids.insert(id).second)
        throw kzjournal::Error(kzterminal::Printable(path) + ": this run is there twice");
}

Made PageOfSides(const std::vector<Paths>& sides, const ReportOptions& options,
                 const RunOpener& runs) {
    const std::vector<Percentile> percentiles = options.comparison.Percentiles();
    Made made;
    std::set<std::string> ids;
    std::vector<SideOfPage> read;
    for (const Paths& side : sides) {
        read.emplace_back();
        const Sampling sampling = SamplingOf(sides.front().size(), side.size());
        for (const std::string& path : side) {
            const std::unique_ptr<RunReader> run = runs.Open(path);
            RefuseKnownRun(run->Facts().id, path, ids);
            made.descriptions.push_back(DescribeJournal(*run, path));
            read.back().push_back(
                ReadForPage(*run, path, runs, options.range, sampling, percentiles));
        }
    }
    made.page =
        ComparisonPageWith(ComparisonPageJson(read, options.comparison.Least(), percentiles));
    return made;
}

ExitStatus Report(const ReportOptions& options, const RunOpener& runs, Output& output) {
    const std::vector<Paths> sides = SidesOf(options);
    Paths all;
    for (const Paths& side : sides) all.insert(all.end(), side.begin(), side.end());
    if (all.size() == 1) RefuseOptionsOfComparisons(options);
    CheckJournals(all);
    kzfiles::RefuseToOverwrite(all, options.page);
    kzfiles::RefuseToReplaceAJournal(options.page);
    const Made made =
        all.size() == 1 ? PageOfRun(all.front(), options, runs) : PageOfSides(sides, options, runs);
    if (options.page == "-")
        output.Write(made.page);
    else
        kzfiles::WriteFile(options.page, made.page);
    output.Flush();
    for (const std::string& description : made.descriptions) TellOnStandardError(description);
    return kDone;
}

}  // namespace

void DeclareReport(CommandLine& line, const RunOpener& runs) {
    Command command = line.AddCommand(
        "report", "Write a page of charts and tables of a run, or of runs compared");
    const auto options = std::make_shared<ReportOptions>();
    command
        .AddGroups("RUN", options->groups,
                   "The journal of a run; of several to compare them with the first one; or of "
                   "several a side: A1 A2 A3 -- B1 B2 B3")
        .Required()
        .ValueName("FILE");
    command.Add("-o,--output", options->page, "The HTML file to write (- for standard output)")
        .Required()
        .ValueName("PAGE");
    options->comparison.Declare(command);
    options->range.Declare(command);
    command.Footer(
        "Of several runs, the page shows what changed, as compare finds it, and draws them over "
        "each\n"
        "other; --least and --percentiles are for those alone.\n"
        "Example: kzstat report old.kzj new.kzj -o changes.html");
    command.Does([options, &runs](Output& output) { return Report(*options, runs, output); });
}

}  // namespace kzstatprogram
