#include "merge/mergenotes.h"

#include "terminal/terminaltext.h"
#include "text/numbers.h"

namespace kzstatprogram {
namespace {

constexpr char kGap[] = "gap: no run has slice";
constexpr char kRestart[] = "restart: ";
constexpr char kBeginsAgain[] = " begins again in slice ";

std::string GapText(int first, int last, double sliceLength) {
    std::string text = kGap;
    if (first != last) text.append("s ").append(std::to_string(first)).append(" to");
    return text.append(" ")
        .append(std::to_string(last))
        .append(" (")
        .append(ReadableNumber((last - first + 1) * sliceLength))
        .append(" s)");
}

std::string RestartText(const kzjournal::Run& run, int sliceId) {
    return std::string(kRestart)
        .append(kzterminal::Printable(run.generator))
        .append(" on ")
        .append(kzterminal::Printable(run.host))
        .append(kBeginsAgain)
        .append(std::to_string(sliceId));
}

}  // namespace

bool MergeNotes::IsOne(const std::string& text) {
    return text.starts_with(kGap) ||
           (text.starts_with(kRestart) && text.find(kBeginsAgain) != std::string::npos);
}

std::vector<kzjournal::Note> MergeNotes::Take(const MergedSlice& slice) {
    std::vector<kzjournal::Note> notes;
    const int id = slice.facts.sliceId;
    if (m_lastId > 0 && id > m_lastId + 1)
        notes.push_back({m_lastEndTime, GapText(m_lastId + 1, id - 1, slice.facts.sliceLength)});
    m_lastId = id;
    m_lastEndTime = slice.facts.endTime;
    NoteEnds(slice);
    for (const MergePart& part : slice.parts)
        if (BeginsAgain(part))
            notes.push_back({slice.facts.endTime, RestartText(InputOf(part).run, id)});
    return notes;
}

const MergeInput& MergeNotes::InputOf(const MergePart& part) const {
    return m_inputs[static_cast<std::size_t>(part.source) - 1];
}

void MergeNotes::NoteEnds(const MergedSlice& slice) {
    for (const MergePart& part : slice.parts) {
        const MergeInput& input = InputOf(part);
        if (part.slice.id == input.lastSliceId)
            m_ends[{input.run.generator, input.run.host}] = part.slice.endTime;
    }
}

/// The run before may have ended in the same slice.
bool MergeNotes::BeginsAgain(const MergePart& part) {
    if (!m_begun.insert(part.source).second) return false;
    const kzjournal::Run& run = InputOf(part).run;
    const auto end = m_ends.find({run.generator, run.host});
    return end != m_ends.end() && end->second < part.slice.endTime - run.sliceLength / 2;
}

}  // namespace kzstatprogram
