#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "kzjournalbulkwriter.h"
#include "mergedrun.h"

namespace kzstat {
namespace {

struct MergeOptions {
    std::vector<std::string> journals;
    std::string merged;
};

/// Tells which runs are in which slices, a line for as many slices as are alike.
class PartTeller {
public:
    PartTeller(const std::vector<std::string>& names, Output& output)
        : m_names(names), m_output(output) {}

    void Take(const MergedSlice& slice) {
        if (slice.sources != m_sources || slice.id != m_last + 1) {
            Tell();
            m_first = slice.id;
            m_sources = slice.sources;
        }
        m_last = slice.id;
    }

    /// To be called at the end as well.
    void Tell() const {
        if (m_last == 0) return;
        std::string line = m_first == m_last ? "slice " + std::to_string(m_first)
                                             : "slices " + std::to_string(m_first) + " to " +
                                                   std::to_string(m_last);
        line += ": " + std::to_string(m_sources.size()) + " of " + std::to_string(m_names.size());
        for (const int source : m_sources) line += " " + m_names[static_cast<std::size_t>(source)];
        m_output.WriteLine(line);
    }

private:
    const std::vector<std::string>& m_names;
    Output& m_output;
    std::vector<int> m_sources;
    int m_first = 0;
    int m_last = 0;
};

ExitStatus Merge(const MergeOptions& options, Output& output) {
    std::vector<std::unique_ptr<kzjournal::Reader>> journals;
    std::vector<kzjournal::Run> sources;
    long long lost = 0;
    for (const std::string& path : options.journals) {
        journals.push_back(std::make_unique<kzjournal::Reader>(path));
        sources.push_back(journals.back()->Facts());
        lost += journals.back()->LostSlices();
    }
    MergedRun run(journals);
    kzjournal::BulkWriter writer(options.merged, run.Facts());
    writer.SetSources(sources);
    PartTeller teller(options.journals, output);
    MergedSlice slice{};
    while (run.Next(slice)) {
        writer.Append(slice.message, slice.sources);
        teller.Take(slice);
    }
    writer.Close(run.Facts().startTime + slice.id * run.Facts().sliceLength, lost);
    teller.Tell();
    return kDone;
}

}  // namespace

void DeclareMerge(CommandLine& line) {
    Command command =
        line.AddCommand("merge", "Merge the runs of several generators of one test into one run");
    const auto options = std::make_shared<MergeOptions>();
    command.Add("RUNS", options->journals, "The journals of the runs")
        .Required()
        .AtLeast(2)
        .ValueName("FILE");
    command.Add("-o,--output", options->merged, "The journal to make; a new file")
        .Required()
        .ValueName("FILE");
    command.Footer("Example: kzstat merge one.kzj two.kzj -o both.kzj");
    command.Does([options](Output& output) { return Merge(*options, output); });
}

}  // namespace kzstat
