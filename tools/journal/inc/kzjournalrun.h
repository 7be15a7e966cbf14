#ifndef KZJOURNALRUN_H
#define KZJOURNALRUN_H

#include <string>

#include "kzjournal_export.h"

namespace kzjournal {

/// The facts of a run. Compatible.
struct Run {
    std::string id;  ///< names the run wherever its file goes
    std::string generator;
    double startTime = 0;    ///< of the generator, in seconds since 1970-01-01 UTC
    double sliceLength = 0;  ///< seconds
    std::string host;
    std::string commandLine;
};

/// The facts of a run of this process under a new id. Safe for concurrent use.
KZJOURNAL_EXPORT Run RunOfThisProcess(const std::string& generator, double startTime,
                                      double sliceLength);

}  // namespace kzjournal

#endif
