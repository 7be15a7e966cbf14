#include "kzjournalbulkwriter.h"

#include <filesystem>

#include "slicestore.h"

namespace kzjournal {

BulkWriter::BulkWriter(const std::string& path, const Run& run)
    : m_path(path),
      m_store(std::make_unique<SliceStore>(path, run, std::vector<std::string>(),
                                           SliceStore::SafeAtTheEnd)) {}

BulkWriter::~BulkWriter() {
    m_store.reset();
    if (m_isComplete) return;
    std::error_code ignored;
    for (const char* const companion : {"", "-wal", "-shm"})
        std::filesystem::remove(m_path + companion, ignored);
}

int BulkWriter::AddSource(const Run& run, int parent, bool isMerged) {
    return m_store->AddSource(run, parent, isMerged);
}

void BulkWriter::AppendToSource(int source, const CKZStatSliceValues& slice) {
    Keep(source, slice, EncodedDistributions(slice), {});
}

void BulkWriter::AppendToSource(int source, const Slice& slice) {
    const Run& run = m_store->FactsOf(source);
    const RWCString message(slice.message.data(), slice.message.size());
    const CKZStatSliceFacts facts{{run.generator.data(), run.generator.size()},
                                  run.sliceLength,
                                  slice.id,
                                  slice.elapsed,
                                  slice.endTime,
                                  slice.cost};
    Keep(source, {facts, message, slice.records}, slice.distributions, {});
}

void BulkWriter::Append(const CKZStatSliceValues& slice, const std::vector<int>& sources) {
    Keep(0, slice, EncodedDistributions(slice), sources);
}

const RecordDistributions& BulkWriter::EncodedDistributions(const CKZStatSliceValues& slice) {
    m_distributions.Clear();
    m_distributions.AddAll(slice);
    return m_distributions;
}

void BulkWriter::Keep(int run, const CKZStatSliceValues& slice,
                      const RecordDistributions& distributions, const std::vector<int>& sources) {
    long long& kept = m_keptSlices[run];
    if (m_store->Write(run, slice, distributions, sources, kept + 1)) ++kept;
    m_store->Tidy();
}

void BulkWriter::CloseSource(int source, std::optional<double> endTime, long long lostSlices,
                             long long expectedSlices) {
    m_store->EndRun(source, endTime, lostSlices, expectedSlices);
}

void BulkWriter::AddNote(const Note& note) {
    m_store->AddNote(note.source, note);
}

void BulkWriter::AddCondition(const std::string& text, int source) {
    m_store->AddCondition(source, text);
}

void BulkWriter::Close(std::optional<double> endTime, long long lostSlices) {
    m_store->End(endTime, lostSlices, m_keptSlices[0] + lostSlices);
    m_store->LeaveCompanions();
    m_isComplete = true;
}

}  // namespace kzjournal
