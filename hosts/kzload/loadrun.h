#ifndef KZLOAD_LOADRUN_H
#define KZLOAD_LOADRUN_H

#include <memory>
#include <optional>
#include <vector>

#include "generator.h"
#include "loadstate.h"
#include "loadthread.h"
#include "messagefile.h"
#include "options.h"
#include "slicekeeper.h"
#include "terminal.h"

namespace kzload {

/// One run, from the first request to the final table: the control thread's part.
///
/// Owned by the control thread.
class LoadRun {
public:
    /// All must outlive the run.
    LoadRun(const Options& options, const Target& target, Terminal& terminal, MessageFile& messages,
            kzjournal::Writer& journal);

    /// Loads the target until the time is up or a stop is asked for, and prints the results.
    void Execute();

private:
    void MakeLoadThreads();
    void OpenJournal();
    bool LoadIsOver() const;
    void StopLoad();
    void WaitForLastSlice();
    void KeepGoing();
    void ComplainAboutConnections();
    void PrintResults();

    const Options& m_options;
    const Target& m_target;
    Terminal& m_terminal;
    kzjournal::Writer& m_journal;
    LoadState m_state;
    double m_startTime = 0;
    bool m_complainedAboutConnections = false;

    // Destroyed from the last to the first: the loops end before the clients go, and the clients
    // before their generator.
    Generator m_generator;
    std::optional<SliceKeeper> m_sliceKeeper;
    std::vector<std::unique_ptr<LoadThread>> m_loadThreads;
    std::optional<GeneratorLoops> m_loops;
};

}  // namespace kzload

#endif
