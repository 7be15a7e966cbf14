#ifndef KZ_TESTS_MEMORYRUNS_H
#define KZ_TESTS_MEMORYRUNS_H

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kzjournalload.h"
#include "kzjournalrun.h"
#include "kzjournalslice.h"
#include "reading/runopener.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "support/slicemaker.h"

/// A slice as a reader gives it, with or without the distributions of its values.
kzjournal::Slice SliceOf(const MadeSlice& made, bool hasDistributions = false);

/// A run that is in memory only. Its slices come in the order of their ids. Safe for concurrent
/// use, but for the public members, which do not change once it is read.
class MemoryRun {
public:
    using Slices = std::vector<std::shared_ptr<const kzjournal::Slice>>;

    explicit MemoryRun(kzjournal::Run run) : facts(std::move(run)) {}

    void Add(kzjournal::Slice slice);
    void End();
    /// Until then the load is that of the facts.
    void SetLoad(const kzjournal::LoadSpan& load);

    /// Those that were added so far.
    Slices AllSlices() const;
    bool HasEnded() const;
    kzjournal::LoadSpan Load() const;

    kzjournal::Run facts;
    long long lostSlices = 0;
    std::vector<kzjournal::Note> notes;
    std::vector<std::string> conditions;
    std::vector<kzjournal::Source> sources;
    std::map<int, std::vector<int>> sourcesOfSlices;  // by the ids of slices

private:
    mutable RWMutexLock m_lock;
    Slices m_slices RYP_GUARDED_BY(m_lock);
    std::optional<kzjournal::LoadSpan> m_load RYP_GUARDED_BY(m_lock);
    bool m_hasEnded RYP_GUARDED_BY(m_lock) = false;
};

/// Runs in memory by their names. Compatible, but safe for concurrent use once all are made.
class MemoryRuns : public kzstatprogram::RunOpener {
public:
    /// A new run that begins at 1000 and has slices of a second. It lives as long as this.
    MemoryRun& Make(const std::string& name, int source = 0);
    MemoryRun& Find(const std::string& name) { return *m_runs.at({name, 0}); }

    std::unique_ptr<kzstatprogram::RunReader> Open(const std::string& name,
                                                   int source) const override;

private:
    std::map<std::pair<std::string, int>, std::unique_ptr<MemoryRun>> m_runs;
};

#endif
