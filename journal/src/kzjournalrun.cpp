#include "kzjournalrun.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <fstream>
#include <iterator>
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

/// The arguments, with blanks between them.
std::string CommandLine() {
    std::ifstream file("/proc/self/cmdline");
    std::string line{std::istreambuf_iterator<char>(file), {}};
    if (!line.empty()) line.pop_back();
    std::replace(line.begin(), line.end(), '\0', ' ');
    return line;
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
    run.commandLine = CommandLine();
    run.testName = testName;
    return run;
}

}  // namespace kzjournal
