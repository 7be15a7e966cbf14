#include "page/livehistograms.h"

#include <cstdio>

#include "page/metrics.h"
#include "terminal/stopsignal.h"

namespace kzstatprogram {

LiveHistograms::LiveHistograms(const std::string& path) : m_journal(path) {
    m_journal.StopWhen(kzterminal::StopIsRequested);
}

std::string LiveHistograms::Text() {
    const RWMutexLock::LockGuard guard(m_lock);
    try {
        Update();
        m_trouble.clear();
    } catch (const std::exception& error) {
        const bool isNews = m_trouble != error.what() && !kzterminal::StopIsRequested();
        if (isNews) std::fprintf(stderr, "kzstat: %s\n", error.what());
        m_trouble = error.what();
    }
    return m_text;
}

void LiveHistograms::Update() {
    m_summary.Update(m_journal);
    m_text = HistogramsText(m_summary.Names());
}

}  // namespace kzstatprogram
