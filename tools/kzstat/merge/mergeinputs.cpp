#include "merge/mergeinputs.h"

#include <algorithm>
#include <map>

#include "kzjournalreader.h"

namespace kzstatprogram {
namespace {

/// Asks again until no slice has come between two answers, so that they fit together.
void NoteState(kzjournal::Reader& journal, MergeInput& input) {
    bool hasEnded = false;
    do {
        input.lastSliceId = journal.LastSliceId();
        hasEnded = journal.HasEnded();
        input.slices = journal.CountSlices();
        input.lostSlices = journal.LostSlices();
        input.expectedSlices = journal.ExpectedSlices();
    } while (journal.LastSliceId() != input.lastSliceId);
    const auto last = journal.LastSlice();
    if (hasEnded) input.endTime = last ? last->endTime : input.run.startTime;
}

MergeInput InputOf(const std::string& path, const kzjournal::Source& source) {
    kzjournal::Reader journal(path, source.number);
    MergeInput input{path, source.number, 0, source.isMerged, journal.Facts()};
    NoteState(journal, input);
    return input;
}

MergeInput InputOf(const std::string& path) {
    kzjournal::Reader journal(path);
    MergeInput input{path, 0, 0, !journal.Sources().empty(), journal.Facts()};
    NoteState(journal, input);
    return input;
}

void AddParts(const MergeInput& file, std::vector<MergeInput>& inputs) {
    std::map<int, int> numbers{{0, static_cast<int>(inputs.size())}};
    for (const kzjournal::Source& source : kzjournal::Reader(file.path).Sources()) {
        inputs.push_back(InputOf(file.path, source));
        inputs.back().parent = numbers[source.parent];
        numbers[source.number] = static_cast<int>(inputs.size());
    }
}

void RefuseRunsThatAreThereTwice(const std::vector<MergeInput>& inputs) {
    std::map<std::string, const MergeInput*> known;
    for (const MergeInput& input : inputs) {
        const auto [first, isNew] = known.emplace(input.run.id, &input);
        if (!isNew)
            throw kzjournal::Error("cannot merge: the run " + input.run.id + " is in " +
                                   first->second->path + " and in " + input.path +
                                   "; give each run once");
    }
}

}  // namespace

std::string MergeInput::Text() const {
    return source == 0 ? path : path + "#" + std::to_string(source);
}

std::vector<MergeInput> MergeInputsOf(const std::vector<std::string>& paths) {
    std::vector<MergeInput> files;
    files.reserve(paths.size());
    for (const std::string& path : paths) files.push_back(InputOf(path));
    std::stable_sort(files.begin(), files.end(),
                     [](const MergeInput& a, const MergeInput& b) { return a.run.id < b.run.id; });
    std::vector<MergeInput> inputs;
    for (const MergeInput& file : files) {
        inputs.push_back(file);
        AddParts(file, inputs);
    }
    RefuseRunsThatAreThereTwice(inputs);
    return inputs;
}

}  // namespace kzstatprogram
