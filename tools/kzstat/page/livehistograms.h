#ifndef KZSTATPROGRAM_LIVEHISTOGRAMS_H
#define KZSTATPROGRAM_LIVEHISTOGRAMS_H

#include <string>

#include "figures/livesummary.h"
#include "kzjournalreader.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"

namespace kzstatprogram {

/// The histograms of a run that goes on, for Prometheus. Costs nothing until somebody asks, and
/// then what has come since the last time. Safe for concurrent use.
class LiveHistograms {
public:
    /// Throws kzjournal::Error.
    explicit LiveHistograms(const std::string& path);

    /// As the run stands, in the text exposition format; as it was before where the journal cannot
    /// be read, which standard error is told once.
    std::string Text();

private:
    void Update() RYP_REQUIRES(m_lock);

    RWMutexLock m_lock;
    kzjournal::Reader m_journal RYP_GUARDED_BY(m_lock);
    LiveSummary m_summary RYP_GUARDED_BY(m_lock);
    std::string m_text RYP_GUARDED_BY(m_lock);
    std::string m_trouble RYP_GUARDED_BY(m_lock);
};

}  // namespace kzstatprogram

#endif
