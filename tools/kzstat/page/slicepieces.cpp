#include "page/slicepieces.h"

#include <algorithm>
#include <utility>

#include "terminal/stopsignal.h"

namespace kzstatprogram {
namespace {

constexpr std::size_t kPieceBytes = std::size_t{128} << 10;

/// Clients that read different parts of the file would otherwise have all of it read for each of
/// their pieces.
constexpr std::size_t kMaxKeptBytes = std::size_t{24} << 20;
constexpr std::size_t kBatchBytes = std::size_t{2} << 20;
constexpr int kMaxSlicesPerBatch = 60;

std::size_t BytesOf(const kzjournal::Slice& slice) {
    return sizeof slice + slice.records.size() * sizeof(CKZStatMessageRecord) +
           slice.distributions.ByteCount();
}

/// Slices become larger, if anything.
int SlicesPerBatch(RunReader& run) {
    const std::optional<kzjournal::Slice> last = run.LastSlice();
    const std::size_t slices = last ? kBatchBytes / BytesOf(*last) : 1;
    return static_cast<int>(std::clamp<std::size_t>(slices, 1, kMaxSlicesPerBatch));
}

}  // namespace

std::string SlicePieces::Next(Cursor& cursor) {
    std::string text;
    if (cursor.m_hasEnded) return text;
    const RWMutexLock::LockGuard guard(m_lock);
    OpenFor(cursor);
    if (!std::exchange(cursor.m_hasBegun, true)) text += '[';
    while (text.size() < kPieceBytes && !cursor.m_hasEnded) Append(cursor, text);
    return text;
}

/// The file may have been replaced since the last time. One that was removed may still be written.
void SlicePieces::OpenFor(const Cursor& cursor) {
    const std::optional<kzfiles::FilePlace> place = kzfiles::PlaceOf(m_name);
    const bool isThere = place && place->name.empty();
    const bool isAnother =
        m_reader != nullptr && (place != m_place || m_reader->Facts().id != cursor.m_run);
    if (m_reader == nullptr || (isThere && isAnother)) {
        m_batches.clear();
        m_reader = m_runs.Open(m_name);
        m_reader->StopWhen(kzterminal::StopIsRequested);
        m_format = MakeExportFormat("json", m_reader->Facts());
        m_slicesPerBatch = SlicesPerBatch(*m_reader);
        m_place = place;
    }
    if (m_reader->Facts().id != cursor.m_run)
        throw kzjournal::Error("another run has taken the place of this one; ask again");
}

/// What is left of the slice that the cursor is in, as far as the piece has room for it.
void SlicePieces::Append(Cursor& cursor, std::string& text) {
    const kzjournal::Slice* const slice = cursor.m_left > 0 ? SliceAfter(cursor.m_after) : nullptr;
    if (slice == nullptr) {
        text += "]\n";
        cursor.m_hasEnded = true;
        return;
    }
    if (cursor.m_position == 0) cursor.m_gap = cursor.m_gaps.Before(*slice);
    while (cursor.m_position < slice->records.size() && text.size() < kPieceBytes) {
        if (std::exchange(cursor.m_hasRecord, true)) text += ',';
        text += m_format->RecordText(*slice, cursor.m_position++, cursor.m_gap);
    }
    if (cursor.m_position < slice->records.size()) return;
    cursor.m_after = slice->id;
    cursor.m_position = 0;
    --cursor.m_left;
}

/// Null behind the last one. Valid until the next call.
const kzjournal::Slice* SlicePieces::SliceAfter(int id) {
    const auto kept = std::find_if(m_batches.begin(), m_batches.end(), [&](const Batch& batch) {
        return batch.after <= id && id < batch.slices.back().id;
    });
    if (kept != m_batches.end())
        m_batches.splice(m_batches.begin(), m_batches, kept);
    else if (!ReadBatchAfter(id))
        return nullptr;
    const std::vector<kzjournal::Slice>& slices = m_batches.front().slices;
    return &*std::upper_bound(slices.begin(), slices.end(), id,
                              [](int a, const auto& slice) { return a < slice.id; });
}

/// Puts it first. False where there is none.
bool SlicePieces::ReadBatchAfter(int id) {
    MakeRoom();
    Batch batch{id, {}};
    m_reader->ForEachSliceAfter(
        id,
        [&](const kzjournal::Slice& slice) {
            batch.slices.push_back(slice);
            // Records are all that is shown.
            std::string().swap(batch.slices.back().message);
            batch.bytes += BytesOf(slice);
        },
        m_slicesPerBatch);
    if (batch.slices.empty()) return false;
    m_batches.push_front(std::move(batch));
    return true;
}

/// Before the next batch is read, so that there is one of the largest ones at most.
void SlicePieces::MakeRoom() {
    std::size_t kept = 0;
    const auto last = std::find_if(m_batches.begin(), m_batches.end(), [&](const Batch& batch) {
        kept += batch.bytes + kBatchBytes;
        return kept > kMaxKeptBytes;
    });
    m_batches.erase(last, m_batches.end());
}

}  // namespace kzstatprogram
