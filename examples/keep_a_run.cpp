// A host that keeps its run in a journal: the line marked below does it.

#include <kzjournalkeep.h>
#include <kzjournalreader.h>
#include <kzstatrun.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

namespace {

/// One slice of load. Returns whether all went well.
bool LoadOnce(const std::string& path) {
    CKZStatRun run("my-load", 0.1);
    kzjournal::Keep(run, path);  // here
    {
        CKZStatRunClient client = run.NewClient(1);
        for (const double time : {10, 30, 50})
            client.AddLast("login.time", time, CKZStatPointTypeEnum::Timer);
    }
    const CKZStatRunResult result = run.Finish();
    for (const RWCString& line : result.complaints) std::fprintf(stderr, "%s\n", line.data());
    return result.IsClean();
}

}  // namespace

int main() {
    const std::string name = "keep_a_run-" + std::to_string(getpid()) + ".kzj";
    const std::string path = (std::filesystem::temp_directory_path() / name).string();
    std::filesystem::remove(path);
    const bool isClean = LoadOnce(path);
    kzjournal::Reader journal(path);
    for (const CKZStatMessageRecord& record : journal.Summary())
        std::printf("%s: %g values, mean %g\n", record.name.data(), record.totals.count,
                    record.totals.Average());
    std::filesystem::remove(path);
    return isClean ? 0 : 1;
}
