#include <memory>

#include "commands.h"
#include "kzjournalreader.h"
#include "numbers.h"
#include "rangeoptions.h"
#include "statistics.h"
#include "table.h"

namespace kzstat {
namespace {

struct ShowOptions {
    std::string journal;
    RangeOptions range;
};

std::string Cell(const std::optional<double>& value) {
    return value ? ReadableNumber(*value) : "-";
}

std::string Cell(const std::optional<Deviation>& deviation) {
    if (!deviation) return "-";
    if (deviation->value <= deviation->error) return "<" + ReadableNumber(deviation->error);
    return ReadableNumber(deviation->value);
}

Table TableOf(const std::vector<CKZStatMessageRecord>& records, double seconds) {
    Table table({{"name", Table::Left},
                 {"type", Table::Left},
                 {"unit", Table::Left},
                 {"count", Table::Right},
                 {"rate/s", Table::Right},
                 {"min", Table::Right},
                 {"mean", Table::Right},
                 {"max", Table::Right},
                 {"stddev", Table::Right},
                 {"sum", Table::Right},
                 {"last", Table::Right}});
    for (const CKZStatMessageRecord& record : records) {
        const Statistics s = StatisticsOf(record, seconds);
        table.Add({s.name, CKZStatPointTypeEnum::GetStringFromEnumType(s.type), s.unit,
                   Cell(s.count), Cell(s.rate), Cell(s.minimum), Cell(s.average), Cell(s.maximum),
                   Cell(s.deviation), Cell(s.sum), Cell(s.current)});
    }
    return table;
}

ExitStatus Show(const ShowOptions& options, Output& output) {
    kzjournal::Reader journal(options.journal);
    const kzjournal::TimeRange range = options.range.RangeOf(journal);
    const double seconds =
        static_cast<double>(journal.CountSlices(range)) * journal.Facts().sliceLength;
    for (const std::string& line : TableOf(journal.Summary(range), seconds).Lines())
        output.WriteLine(line);
    return kDone;
}

}  // namespace

void DeclareShow(CLI::App& app, Action& action) {
    CLI::App* const command = app.add_subcommand("show", "Print a table of every name of a run");
    const auto options = std::make_shared<ShowOptions>();
    command->add_option("RUN", options->journal, "The journal of the run")->required();
    options->range.Declare(*command);
    command->footer("Example: kzstat show run.kzj --skip-warmup");
    command->final_callback([options, &action] {
        action = [options](Output& output) { return Show(*options, output); };
    });
}

}  // namespace kzstat
