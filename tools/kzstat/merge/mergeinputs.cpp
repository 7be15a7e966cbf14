#include "merge/mergeinputs.h"

#include <algorithm>
#include <map>

namespace kzstatprogram {
namespace {

/// Asks again until no slice has come between two answers, so that they fit together.
void NoteState(RunReader& run, MergeInput& input) {
    bool hasEnded = false;
    do {
        input.lastSliceId = run.LastSliceId();
        hasEnded = run.HasEnded();
        input.slices = run.CountSlices();
        input.lostSlices = run.LostSlices();
        input.expectedSlices = run.ExpectedSlices();
    } while (run.LastSliceId() != input.lastSliceId);
    const auto last = run.LastSlice();
    input.lastElapsed = last ? last->elapsed : 0;
    if (hasEnded) input.endTime = last ? last->endTime : input.run.startTime;
}

MergeInput InputOf(const RunOpener& runs, const std::string& path,
                   const kzjournal::Source& source) {
    const std::unique_ptr<RunReader> run = runs.Open(path, source.number);
    MergeInput input{path, source.number, 0, source.isMerged, run->Facts()};
    NoteState(*run, input);
    return input;
}

MergeInput InputOf(const RunOpener& runs, const std::string& path) {
    const std::unique_ptr<RunReader> run = runs.Open(path);
    MergeInput input{path, 0, 0, !run->Sources().empty(), run->Facts()};
    NoteState(*run, input);
    return input;
}

void AddParts(const RunOpener& runs, const MergeInput& file, std::vector<MergeInput>& inputs) {
    std::map<int, int> numbers{{0, static_cast<int>(inputs.size())}};
    for (const kzjournal::Source& source : runs.Open(file.path)->Sources()) {
        inputs.push_back(InputOf(runs, file.path, source));
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

std::vector<MergeInput> MergeInputsOf(const RunOpener& runs,
                                      const std::vector<std::string>& paths) {
    std::vector<MergeInput> files;
    files.reserve(paths.size());
    for (const std::string& path : paths) files.push_back(InputOf(runs, path));
    std::stable_sort(files.begin(), files.end(),
                     [](const MergeInput& a, const MergeInput& b) { return a.run.id < b.run.id; });
    std::vector<MergeInput> inputs;
    for (const MergeInput& file : files) {
        inputs.push_back(file);
        AddParts(runs, file, inputs);
    }
    RefuseRunsThatAreThereTwice(inputs);
    return inputs;
}

}  // namespace kzstatprogram
