#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kzstatdistribution.h"

// quantiles Q...: reads values, one a line, and prints their quantiles, one a line and the shortest
// text that reads back as the same number. A line "-" begins a further distribution, to which the
// former ones are added at the end.
int main(int argc, char** argv) {
    CKZStatDistribution all;
    CKZStatDistribution part;
    char line[64];
    while (std::fgets(line, sizeof line, stdin) != nullptr) {
        if (std::strcmp(line, "-\n") == 0) {
            all.Add(part);
            part = CKZStatDistribution();
        } else {
            part.Add(std::strtod(line, nullptr));
        }
    }
    all.Add(part);
    for (int i = 1; i < argc; ++i)
        std::printf("%.17g\n", all.Quantile(std::strtod(argv[i], nullptr)));
    return 0;
}
