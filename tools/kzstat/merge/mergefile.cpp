#include "merge/mergefile.h"

#include <algorithm>
#include <filesystem>
#include <map>

#include "files/filechecks.h"
#include "files/fileplace.h"
#include "files/newfile.h"
#include "kzjournalbulkwriter.h"
#include "merge/mergenotes.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

[[noreturn]] void Refuse(const std::string& path, const std::string& reason) {
    throw kzjournal::Error("cannot keep a run in " + path + ": " + reason);
}

/// The slices that are kept of each run that the merged run at `path` was made of, by its id.
/// Empty where there is no merged run.
std::map<std::string, long long> SlicesKeptIn(const RunOpener& runs, const std::string& path) {
    std::map<std::string, long long> slices;
    try {
        for (const kzjournal::Source& source : runs.Open(path)->Sources())
            if (!source.isMerged)
                slices[source.run.id] = runs.Open(path, source.number)->CountSlices();
        return slices;
    } catch (const kzjournal::Error&) {
        return {};
    }
}

std::vector<std::string> PathsOf(const std::vector<MergeInput>& inputs) {
    std::vector<std::string> paths;
    paths.reserve(inputs.size());
    for (const MergeInput& input : inputs) paths.push_back(input.path);
    return paths;
}

/// A companion that another journal left behind under the name would be read into this one.
void RefuseAPartOfAnotherRun(const std::string& path) {
    for (const char* const suffix : {"-wal", "-journal"}) {
        std::error_code error;
        const std::string companion = kzfiles::BehindLinks(path) + suffix;
        const auto bytes = std::filesystem::file_size(companion, error);
        if (!error && bytes > 0)
            Refuse(path, companion + " holds a part of another run; move it away");
    }
}

/// Whether the merge replaces the file at `path`: an empty one, or a merged run all of whose runs
/// are merged again. Throws where another file stands there.
bool Replaces(const std::string& path, const RunOpener& runs,
              const std::vector<MergeInput>& inputs) {
    constexpr char kInUse[] = "it is in use already; choose another path";
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) return false;
    if (!std::filesystem::is_regular_file(status)) Refuse(path, kInUse);
    if (std::filesystem::file_size(path, error) == 0) return true;
    std::map<std::string, long long> kept = SlicesKeptIn(runs, path);
    if (kept.empty()) Refuse(path, kInUse);
    for (const MergeInput& input : inputs) {
        const auto former = kept.find(input.run.id);
        if (former == kept.end()) continue;
        if (former->second > input.slices)
            Refuse(path, "it holds " + SlicesText(former->second) + " of the run " + input.run.id +
                             ", of which " + input.Text() + " has only " +
                             std::to_string(input.slices));
        kept.erase(former);
    }
    if (!kept.empty()) Refuse(path, kInUse);
    return true;
}

void AddSources(const std::vector<MergeInput>& inputs, kzjournal::BulkWriter& writer) {
    for (const MergeInput& input : inputs)
        writer.AddSource(input.run, input.parent, input.isMerged);
}

/// Their own: those of their parts come with the parts.
void AddAnnotations(const RunOpener& runs, const std::vector<MergeInput>& inputs,
                    kzjournal::BulkWriter& writer) {
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        const int number = static_cast<int>(i) + 1;
        const std::unique_ptr<RunReader> run = runs.Open(inputs[i].path, inputs[i].source);
        for (kzjournal::Note& note : run->Notes()) {
            if (note.source != 0) continue;
            note.source = number;
            writer.AddNote(note);
        }
        for (const std::string& condition : run->Conditions())
            writer.AddCondition(condition, number);
    }
}

/// What users have added to the merged run at `path`, which is about to be replaced. What they have
/// added to its parts comes with these, and what its merge has noted is noted anew.
void KeepAnnotations(const RunOpener& runs, const std::string& path,
                     kzjournal::BulkWriter& writer) {
    const std::unique_ptr<RunReader> former = runs.Open(path);
    for (const kzjournal::Note& note : former->Notes())
        if (note.source == 0 && !MergeNotes::IsOne(note.text)) writer.AddNote(note);
    for (const std::string& condition : former->Conditions()) writer.AddCondition(condition, 0);
}

void CloseSources(const std::vector<MergeInput>& inputs, kzjournal::BulkWriter& writer) {
    for (std::size_t i = 0; i < inputs.size(); ++i)
        writer.CloseSource(static_cast<int>(i) + 1, inputs[i].endTime, inputs[i].lostSlices,
                           inputs[i].expectedSlices);
}

/// What the runs lack that have slices of their own, also where their writers could not say so.
long long LostSlices(const std::vector<MergeInput>& inputs) {
    long long lost = 0;
    for (const MergeInput& input : inputs)
        if (!input.isMerged)
            lost += std::max(input.lostSlices, input.expectedSlices - input.slices);
    return lost;
}

bool HaveAllEnded(const std::vector<MergeInput>& inputs) {
    return std::all_of(inputs.begin(), inputs.end(),
                       [](const MergeInput& input) { return input.endTime.has_value(); });
}

/// `former` is the path of a merged run whose annotations are kept; empty if there is none.
void Write(const RunOpener& runs, const std::vector<MergeInput>& inputs, const std::string& path,
           const std::string& former, const std::function<void(const MergedSlice&)>& visit) {
    MergedRun run(runs, inputs);
    kzjournal::BulkWriter writer(path, run.Facts());
    AddSources(inputs, writer);
    AddAnnotations(runs, inputs, writer);
    if (!former.empty()) KeepAnnotations(runs, former, writer);
    MergeNotes notes(inputs);
    MergedSlice slice;
    while (run.Next(slice)) {
        for (const MergePart& part : slice.parts) writer.AppendToSource(part.source, part.slice);
        writer.Append(slice.View(), slice.Sources());
        for (const kzjournal::Note& note : notes.Take(slice)) writer.AddNote(note);
        visit(slice);
    }
    CloseSources(inputs, writer);
    const std::optional<double> end = std::max(slice.facts.endTime, run.Facts().startTime);
    writer.Close(HaveAllEnded(inputs) ? end : std::nullopt, LostSlices(inputs));
}

}  // namespace

void MergeInto(const std::string& path, const RunOpener& runs,
               const std::vector<MergeInput>& inputs,
               const std::function<void(const MergedSlice&)>& visit) {
    kzfiles::RefuseToOverwrite(PathsOf(inputs), path);
    RefuseAPartOfAnotherRun(path);
    using kzfiles::NewFile;
    const bool replaces = Replaces(path, runs, inputs);
    NewFile file(path, replaces ? NewFile::Existing::Replace : NewFile::Existing::Keep,
                 NewFile::Readers::Owner);
    const bool hasFormer = replaces && !std::filesystem::is_empty(path);
    Write(runs, inputs, file.TemporaryPath(), hasFormer ? path : "", visit);
    file.Rename();
}

}  // namespace kzstatprogram
