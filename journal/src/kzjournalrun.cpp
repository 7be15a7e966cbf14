#include "kzjournalrun.h"

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <random>

namespace kzjournal {
namespace {

std::string RandomId() {
    std::random_device random;
    std::string id;
    for (int word = 0; word < 4; ++word) {
        char digits[9];
        std::snprintf(digits, sizeof digits, "%08x", random());
        id += digits;
    }
    return id;
}

std::string HostName() {
    char name[HOST_NAME_MAX + 1] = {};
    return gethostname(name, HOST_NAME_MAX) == 0 ? name : "";
}

}  // namespace

Run RunOfThisProcess(const std::string& generator, double startTime, double sliceLength,
                     const std::string& testName) {
    Run run;
    run.id = RandomId();
    run.generator = generator;
    run.startTime = startTime;
    run.sliceLength = sliceLength;
    run.host = HostName();
    // Arguments may be secrets that only the host recognises.
    run.commandLine = program_invocation_short_name;
    run.testName = testName;
    return run;
}

}  // namespace kzjournal
