#include "files/filechecks.h"

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string_view>

#include "files/fileplace.h"
#include "kzjournalerror.h"

namespace kzfiles {
namespace {

constexpr const char* kJournalAndCompanions[] = {"", "-wal", "-shm", "-journal"};

/// Of which journal the file is a part; no value if of none.
std::optional<std::string> JournalAt(const FilePlace& place,
                                     const std::vector<std::string>& journals) {
    for (const std::string& journal : journals)
        for (const char* const suffix : kJournalAndCompanions)
            // Companions stand beside the file, not beside a link to it.
            if (PlaceOf(BehindLinks(journal) + suffix) == place) return journal;
    return std::nullopt;
}

void Refuse(const std::optional<FilePlace>& place, const std::vector<std::string>& journals,
            const std::string& output) {
    const std::optional<std::string> journal = place ? JournalAt(*place, journals) : std::nullopt;
    if (journal)
        throw kzjournal::Error("cannot write " + output + ": it belongs to the journal " +
                               *journal);
}

}  // namespace

void RefuseUnlessFile(const std::string& path) {
    struct stat facts = {};
    // A folder is refused by whoever opens it.
    if (stat(path.c_str(), &facts) != 0 || S_ISREG(facts.st_mode) || S_ISDIR(facts.st_mode)) return;
    throw kzjournal::Error("cannot use " + path + " as a journal: it is " +
                           (S_ISFIFO(facts.st_mode) ? "a pipe" : "not a file"));
}

void RefuseToOverwrite(const std::vector<std::string>& journals, const std::string& output) {
    Refuse(PlaceOf(output), journals, output);
}

void RefuseToReplaceAJournal(const std::string& output) {
    struct stat facts = {};
    if (stat(output.c_str(), &facts) != 0 || !S_ISREG(facts.st_mode)) return;
    constexpr std::string_view kMagic("SQLite format 3\0", 16);
    std::string begin(kMagic.size(), ' ');
    std::ifstream(output, std::ios::binary)
        .read(begin.data(), static_cast<std::streamsize>(begin.size()));
    if (begin == kMagic) throw kzjournal::Error("cannot write " + output + ": it is a journal");
}

void RefuseToOverwriteByStandardOutput(const std::vector<std::string>& journals) {
    Refuse(PlaceOf(STDOUT_FILENO), journals, "to standard output");
}

}  // namespace kzfiles
