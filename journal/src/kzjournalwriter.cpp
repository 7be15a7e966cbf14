#include "kzjournalwriter.h"

#include <exception>
#include <thread>

#include "journalworker.h"

namespace kzjournal {

Writer::Writer() = default;

Writer::~Writer() {
    Close();
}

std::string Writer::Open(const std::string& path, const Run& run) {
    try {
        m_worker = std::make_shared<Worker>(path, run);
        // Detached, since a disk that never answers must not hold the process at its end.
        std::thread([worker = m_worker] { worker->Run(); }).detach();
        return {};
    } catch (const std::exception& error) {
        m_worker.reset();
        return error.what();
    }
}

std::string Writer::Append(const CKZStatSliceValues& slice) {
    return m_worker ? m_worker->Append(slice) : std::string();
}

std::string Writer::Close() {
    if (!m_worker) return {};
    std::string complaint = m_worker->Close(m_lostSlices);
    m_worker.reset();
    return complaint;
}

}  // namespace kzjournal
