#include "residentmemory.h"

#include <unistd.h>

#include <fstream>

double ResidentBytes() {
    std::ifstream statm("/proc/self/statm");
    double size = 0;
    double resident = 0;
    if (!(statm >> size >> resident)) return 0;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}
