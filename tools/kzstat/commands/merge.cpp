#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "kzjournalerror.h"
#include "merge/mergefile.h"
#include "terminal/stopsignal.h"
#include "terminal/terminaltext.h"

namespace kzstatprogram {
namespace {

struct MergeOptions {
    std::vector<std::string> journals;
    std::string merged;
};

/// Tells which runs are in which slices, a line for as many slices as are alike.
class PartTeller {
public:
    /// `paths` is the order in which runs are named.
    PartTeller(const std::vector<MergeInput>& inputs, const std::vector<std::string>& paths,
               Output& output)
        : m_inputs(inputs), m_paths(paths), m_output(output) {
        m_runs = std::count_if(inputs.begin(), inputs.end(),
                               [](const MergeInput& input) { return !input.isMerged; });
    }

    void Take(const MergedSlice& slice) {
        const std::vector<int> sources = slice.Sources();
        const int id = slice.facts.sliceId;
        if (sources != m_sources || id != m_last + 1) {
            Tell();
            if (m_last > 0 && id > m_last + 1) TellGap(m_last + 1, id - 1LL);
            m_first = id;
            m_sources = sources;
        }
        m_last = id;
    }

    /// To be called at the end as well.
    void Tell() const {
        if (m_last == 0) return;
        std::string line = IdsText(m_first, m_last) + ": " + std::to_string(m_sources.size()) +
                           " of " + std::to_string(m_runs);
        for (const std::string& name : Names()) line += " " + name;
        m_output.WriteLine(kzterminal::Printable(line));
    }

private:
    static std::string IdsText(long long first, long long last) {
        if (first == last) return "slice " + std::to_string(first);
        return "slices " + std::to_string(first) + " to " + std::to_string(last);
    }

    void TellGap(long long first, long long last) const {
        m_output.WriteLine(IdsText(first, last) + ": none, a gap");
    }

    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const std::string& path : m_paths)
            for (std::size_t i = 0; i < m_inputs.size(); ++i)
                if (m_inputs[i].path == path && Holds(static_cast<int>(i) + 1))
                    names.push_back(m_inputs[i].Text());
        return names;
    }

    bool Holds(int source) const {
        return std::find(m_sources.begin(), m_sources.end(), source) != m_sources.end();
    }

    const std::vector<MergeInput>& m_inputs;
    const std::vector<std::string>& m_paths;
    Output& m_output;
    std::ptrdiff_t m_runs;
    std::vector<int> m_sources;
    long long m_first = 0;
    long long m_last = 0;
};

ExitStatus Merge(const MergeOptions& options, const RunOpener& runs, Output& output) {
    CheckJournals(options.journals);
    for (const std::string& path : options.journals)
        output.WriteLine(DescribeJournal(*runs.Open(path), path));
    const std::vector<MergeInput> inputs = MergeInputsOf(runs, options.journals);
    PartTeller teller(inputs, options.journals, output);
    // A process that a signal ends would leave the file that it has begun.
    kzterminal::CatchStopSignals();
    MergeInto(options.merged, runs, inputs, [&](const MergedSlice& slice) {
        if (kzterminal::StopIsRequested())
            throw kzjournal::Error("stopped; " + options.merged + " was not written");
        teller.Take(slice);
    });
    teller.Tell();
    output.WriteLine(DescribeJournal(*runs.Open(options.merged), options.merged));
    return kDone;
}

}  // namespace

void DeclareMerge(CommandLine& line, const RunOpener& runs) {
    Command command =
        line.AddCommand("merge", "Merge the runs of several generators of one test into one run");
    const auto options = std::make_shared<MergeOptions>();
    command.Add("RUNS", options->journals, "The journals of the runs")
        .Required()
        .AtLeast(2)
        .ValueName("FILE");
    command
        .Add("-o,--output", options->merged,
             "The journal to write; a new file, or an earlier merge of these runs")
        .Required()
        .ValueName("FILE");
    command.Footer("Example: kzstat merge one.kzj two.kzj -o both.kzj");
    command.Does([options, &runs](Output& output) { return Merge(*options, runs, output); });
}

}  // namespace kzstatprogram
