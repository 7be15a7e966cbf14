// writingprocess PATH: keeps one slice after the other in a journal until it is killed, and writes
// the id of each on standard output once it is kept.

#include <unistd.h>

#include <cstdio>

#include "kzjournalwriter.h"
#include "support/messagemaker.h"

namespace {

using Types = CKZStatPointTypeEnum;

int Fail(const std::string& complaint) {
    std::fprintf(stderr, "%s\n", complaint.c_str());
    return 1;
}

}  // namespace

int main(int, char** argv) {
    kzjournal::Writer journal;
    MessageMaker messages("load", 1);
    std::string complaint = journal.Open(argv[1], kzjournal::RunOfThisProcess("load", 1.7e9, 1));
    while (complaint.empty()) {
        const double value = messages.SliceId();
        complaint = journal.Append(messages.NextSlice({{"login.time", Types::Timer, {value}},
                                                       {"logins", Types::Counter, {1}},
                                                       {"clients", Types::LoadSize, {value}}}));
        const int id = messages.SliceId();
        if (complaint.empty() && write(STDOUT_FILENO, &id, sizeof id) != sizeof id) return 1;
    }
    return Fail(complaint);
}
