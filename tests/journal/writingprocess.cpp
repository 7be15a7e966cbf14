// writingprocess PATH: keeps one slice after the other in a journal until it is killed, and writes
// the id of each on standard output once it is kept.

#include <unistd.h>

#include <cstdio>
#include <optional>

#include "kzjournalwriter.h"
#include "support/slicemaker.h"

namespace {

using Types = CKZStatPointTypeEnum;

int Fail(const kzjournal::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}

}  // namespace

int main(int, char** argv) {
    kzjournal::Writer journal;
    SliceMaker slices("load", 1, 1.7e9);
    std::optional<kzjournal::Error> error =
        journal.Open(argv[1], kzjournal::RunOfThisProcess("load", 1.7e9, 1));
    while (!error) {
        const double value = slices.SliceId();
        const MadeSlice slice = slices.NextSlice({{"login.time", Types::Timer, {value}},
                                                  {"logins", Types::Counter, {1}},
                                                  {"clients", Types::LoadSize, {value}}});
        error = journal.Append(slice.View());
        const int id = slices.SliceId();
        if (!error && write(STDOUT_FILENO, &id, sizeof id) != sizeof id) return 1;
    }
    return Fail(*error);
}
