#include <iostream>

#include "longrun.h"
#include "options.h"
#include "violations.h"

// Simulates a long run of a host and tells whether its memory stays flat and its numbers exact.

int main(int argc, char** argv) {
    Options options;
    if (!ReadOptions(argc, argv, options)) return 2;
    Violations violations;
    LongRun run(options, violations);
    if (run.Report()) {
        run.CompareMemory();
        run.FallSilent();
    }
    std::cout << violations.Count() << " violations" << std::endl;
    return violations.Count() == 0 ? 0 : 1;
}
