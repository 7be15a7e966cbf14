#ifndef KZJOURNALRUN_H
#define KZJOURNALRUN_H

#include <optional>
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
    std::string
        testName;  ///< what was tested, in the words of the host; empty where it says nothing
    // When the load began and ended, in seconds since the start of the run. Nothing where the host
    // does not say.
    std::optional<double> loadBegin;
    std::optional<double> loadEnd;
};

/// The facts of a run of this process under a new id. Safe for concurrent use.
KZJOURNAL_EXPORT Run RunOfThisProcess(const std::string& generator, double startTime,
                                      double sliceLength, const std::string& testName = "");

}  // namespace kzjournal

#endif
