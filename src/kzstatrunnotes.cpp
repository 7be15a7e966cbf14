#include "kzstatrunnotes.h"

#include <cstring>
#include <utility>

#include "kzstatlog.h"

using Guard = RWMutexLock::LockGuard;

bool CKZStatRunNotes::Add(const char* text, double time) {
    CKZStatNote note{time, RWCString(text, strnlen(text, kMaxTextBytes))};
    {
        const Guard guard(m_lock);
        if (!m_isClosed && m_added < kMaxNotes) {
            m_waiting.push_back(std::move(note));
            ++m_added;
            return true;
        }
        if (std::exchange(m_hasRefused, true)) return false;
    }
    KZ_LOG_ERROR("Note - a note was refused: the run is over or has ", kMaxNotes, " of them");
    return false;
}

std::vector<CKZStatNote> CKZStatRunNotes::Waiting() const {
    const Guard guard(m_lock);
    return m_waiting;
}

void CKZStatRunNotes::Drop(std::size_t count) {
    const Guard guard(m_lock);
    m_waiting.erase(m_waiting.begin(), m_waiting.begin() + static_cast<std::ptrdiff_t>(count));
}

void CKZStatRunNotes::Close() {
    const Guard guard(m_lock);
    m_isClosed = true;
}
