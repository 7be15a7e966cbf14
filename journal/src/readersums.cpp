// The part of a reader that finds, reads and checks stored sums.

#include <cstddef>

#include "readerstate.h"
#include "slicesum.h"

namespace kzjournal {

/// In this order: the slices of each sum are in the timeline then.
void Reader::State::UpdateSums() {
    Guarded([&] {
        if (loader.HasBlocks()) sums.Update();
        timeline.Update();
    });
}

/// The sum of the level that begins with the first entry, if it is of the first entries alone. It
/// is of slices between the first and the last one, so that it has them all if it has as many.
const SumFacts* Reader::State::FindSum(int level, std::span<const Timeline::Entry> entries) const {
    const SumFacts* const sum = sums.FindFrom(level, entries.front().id);
    if (sum == nullptr || sum->slices < 1) return nullptr;
    const auto count = static_cast<std::size_t>(sum->slices);
    if (count > entries.size()) return nullptr;
    const Timeline::Entry& last = entries[count - 1];
    const bool isSame = entries.front().elapsed == sum->firstElapsed && last.id == sum->lastId &&
                        last.elapsed == sum->lastElapsed;
    return isSame ? sum : nullptr;
}

/// The largest one whose slices are all in one group.
const SumFacts* Reader::State::FindSum(std::span<const Timeline::Entry> entries,
                                       const std::function<long long(double)>& groupOf) const {
    for (int level = kSumLevels; level > 0; --level) {
        const SumFacts* const sum = FindSum(level, entries);
        if (sum != nullptr && groupOf(sum->firstElapsed) == groupOf(sum->lastElapsed)) return sum;
    }
    return nullptr;
}

Slice Reader::State::LoadSum(const SumFacts& stored) {
    return file.ReadOn(
        [&] { return sums.Load(stored, [&](std::int64_t id) { return loader.FindName(id); }); });
}

void Reader::State::CheckSums(int level, std::span<const Timeline::Entry> entries) {
    file.AllowSteps();
    std::ptrdiff_t covered = 0;
    for (; !entries.empty(); entries = entries.subspan(1), --covered) {
        const SumFacts* const stored = FindSum(level, entries);
        if (stored == nullptr) continue;
        if (covered > 0)
            throw Error("slice " + std::to_string(stored->firstId) + " is in two sums");
        covered = stored->slices;
        if (!IsOfItsParts(*stored, entries.first(static_cast<std::size_t>(stored->slices))))
            throw Error("the sum of slices " + std::to_string(stored->firstId) + " to " +
                        std::to_string(stored->lastId) + " is not what they add up to");
    }
}

/// Added up as its writer has.
bool Reader::State::IsOfItsParts(const SumFacts& stored, std::span<const Timeline::Entry> entries) {
    SliceSum sum;
    bool isWhole = true;
    if (stored.level == 1) {
        std::vector<int> ids;
        for (const Timeline::Entry& entry : entries) ids.push_back(entry.id);
        VisitMoreSlices(ids, [&](const Slice& slice) { isWhole = isWhole && sum.Add(slice); });
    }
    while (stored.level > 1 && !entries.empty()) {
        const SumFacts* const part = FindSum(stored.level - 1, entries);
        // Slices of others lie between those of a part, which cannot be told then.
        if (part == nullptr) return true;
        isWhole = isWhole && sum.Add(LoadSum(*part));
        entries = entries.subspan(static_cast<std::size_t>(part->slices));
    }
    return isWhole && AreSameSums(sum.Get(), LoadSum(stored));
}

std::vector<Piece> Reader::State::PiecesOf(std::span<const Timeline::Entry> entries,
                                           const std::function<long long(double)>& groupOf) const {
    std::vector<Piece> pieces;
    while (!entries.empty()) {
        const SumFacts* const sum = FindSum(entries, groupOf);
        if (sum != nullptr) {
            pieces.push_back({sum, {}});
        } else {
            if (pieces.empty() || pieces.back().sum != nullptr) pieces.push_back({nullptr, {}});
            pieces.back().ids.push_back(entries.front().id);
        }
        entries = entries.subspan(sum == nullptr ? 1 : static_cast<std::size_t>(sum->slices));
    }
    return pieces;
}

void Reader::State::VisitSums(const std::vector<Piece>& pieces,
                              const std::function<void(const Slice&)>& visit) {
    file.AllowSteps();
    for (const Piece& piece : pieces) {
        if (piece.sum != nullptr)
            visit(LoadSum(*piece.sum));
        else
            VisitMoreSlices(piece.ids, [&](Slice& slice) {
                MakeSum(slice);
                visit(slice);
            });
    }
}

}  // namespace kzjournal
