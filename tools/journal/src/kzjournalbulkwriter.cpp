#include "kzjournalbulkwriter.h"

#include <filesystem>

#include "kzjournalreader.h"
#include "slicestore.h"

namespace kzjournal {

BulkWriter::BulkWriter(const std::string& path, const Run& run)
    : m_path(path), m_store(std::make_unique<SliceStore>(path, run, SliceStore::SafeAtTheEnd)) {}

BulkWriter::~BulkWriter() {
    m_store.reset();
    std::error_code ignored;
    if (!m_isComplete) std::filesystem::remove(m_path, ignored);
}

void BulkWriter::SetSources(const std::vector<Run>& sources) {
    m_store->SetSources(sources);
}

void BulkWriter::Append(std::string_view message, const std::vector<int>& sources) {
    std::string complaint;
    if (!m_store->Write(message, sources, complaint)) throw Error(complaint);
    m_store->Tidy();
}

void BulkWriter::Close(double endTime, long long lostSlices) {
    m_store->End(endTime, lostSlices);
    m_isComplete = true;
}

}  // namespace kzjournal
