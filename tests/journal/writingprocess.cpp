// writingprocess PATH [BYTES [SLICES]]: keeps one slice after the other in a journal until it is
// killed, and writes what became of each on standard output. The journal can grow to BYTES only,
// and is closed after SLICES.

#include "journal/writingprocess.h"

#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>

#include "kzjournalwriter.h"
#include "support/slicemaker.h"

namespace {

using Types = CKZStatPointTypeEnum;

void LimitFiles(const char* bytes) {
    signal(SIGXFSZ, SIG_IGN);
    const rlim_t limit = std::strtoull(bytes, nullptr, 10);
    const rlimit limits = {limit, limit};
    setrlimit(RLIMIT_FSIZE, &limits);
}

}  // namespace

int main(int count, char** arguments) {
    if (count > 2) LimitFiles(arguments[2]);
    kzjournal::Writer journal;
    SliceMaker slices("load", 1, 1.7e9);
    if (const std::optional<kzjournal::Error> error =
            journal.Open(arguments[1], kzjournal::RunOfThisProcess("load", 1.7e9, 1))) {
        std::fprintf(stderr, "%s\n", error->what());
        return 1;
    }
    const int last = count > 3 ? std::atoi(arguments[3]) : std::numeric_limits<int>::max();
    while (slices.SliceId() < last) {
        const double value = slices.SliceId();
        const MadeSlice slice = slices.NextSlice({{"login.time", Types::Timer, {value}},
                                                  {"logins", Types::Counter, {1}},
                                                  {"clients", Types::LoadSize, {value}}});
        const kzjournal::AppendResult result = journal.Append(slice.View());
        const AppendedSlice appended = {slices.SliceId(), result.state, result.problem.has_value()};
        if (write(STDOUT_FILENO, &appended, sizeof appended) != sizeof appended) return 1;
    }
    return journal.Close() ? 1 : 0;
}
