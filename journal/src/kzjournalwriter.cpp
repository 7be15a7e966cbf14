#include "kzjournalwriter.h"

#include <exception>
#include <thread>

#include "journalworker.h"
#include "ryp/log.h"

namespace kzjournal {

Writer::Writer() = default;

Writer::~Writer() {
    if (const std::optional<Error> error = Close())
        RYP_LOG(RyPLogLevel::Error, "kzjournal", error->what());
}

std::optional<Error> Writer::Open(const std::string& path, const Run& run,
                                  const std::vector<std::string>& conditions) {
    try {
        m_worker = std::make_shared<Worker>(path, run, conditions);
        // Detached, since a disk that never answers must not hold the process at its end.
        std::thread([worker = m_worker] { worker->Run(); }).detach();
        return std::nullopt;
    } catch (const std::exception& error) {
        m_worker.reset();
        return Error(error.what());
    }
}

void Writer::SetLoad(const LoadSpan& load) {
    if (m_worker) m_worker->SetLoad(load);
}

AppendResult Writer::Append(const CKZStatSliceValues& slice) {
    return m_worker ? m_worker->Append(slice) : AppendResult{};
}

std::optional<Error> Writer::Close() {
    return CloseWith(std::nullopt);
}

std::optional<Error> Writer::Close(const CKZStatRunEnd& end) {
    return CloseWith(end);
}

std::optional<Error> Writer::CloseWith(const std::optional<CKZStatRunEnd>& end) {
    if (!m_worker) return std::nullopt;
    std::optional<Error> error = m_worker->Close(end, m_lostSlices);
    m_worker.reset();
    return error;
}

}  // namespace kzjournal
