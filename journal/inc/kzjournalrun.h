#ifndef KZJOURNALRUN_H
#define KZJOURNALRUN_H

#include <optional>
#include <string>

#include "kzjournal_export.h"

namespace kzjournal {

/// The facts of a run. Compatible.
struct Run {
    std::string id;  ///< identifies the run, also in a copy of its file
    std::string generator;
    double startTime = 0;    ///< of the generator, in seconds since 1970-01-01 UTC
    double sliceLength = 0;  ///< seconds
    std::string host;
    /// The name of the program, unless the host stores more of what was called. It must leave out
    /// secrets, such as passwords among the arguments: everyone who is shown the journal reads it.
    std::string commandLine;
    std::string testName;  ///< what was tested, in the host's words; may be empty
    // When the load began and ended, in seconds since the start of the run; no value if unknown.
    // While a run is active, `Reader::Load` knows more.
    std::optional<double> loadBegin;
    std::optional<double> loadEnd;
};

/// What is worth knowing about a moment of a run. Compatible.
struct Note {
    double time = 0;   ///< in seconds since 1970-01-01 UTC
    std::string text;  ///< any bytes
    int source = 0;    ///< the number of the source that it is about; 0 for the run itself
};

/// A run that is part of a merged run, directly or through another merged run.
struct Source {
    int number;  ///< from 1; who opens the merged run by it reads this one
    int parent;  ///< the number of the merged run that it is a part of; 0 for the run of the file
    Run run;
    bool isMerged;  ///< a merged run itself: its sources have the slices, it has none
};

/// How much of a run its file has.
struct Completeness {
    enum State {
        Whole,    ///< the run ended, and the file has all of its slices
        Lacking,  ///< the run ended, and slices of it are not in the file
        NotEnded  ///< the run is active, its process was killed, or its end is in a lost FILE-wal
    };
    State state;
    long long slices;  ///< in the file
    /// Those that the run had, as far as the file says; never less than `slices`.
    long long expectedSlices;
    /// The run has not ended and FILE-wal is not beside the file. It held slices unless another
    /// program has opened and closed the file since.
    bool lacksLog;
};

/// Returns the facts of a run of this process, with a new id and the name of the program as
/// `commandLine`. Safe for concurrent use.
KZJOURNAL_EXPORT Run RunOfThisProcess(const std::string& generator, double startTime,
                                      double sliceLength, const std::string& testName = "");

}  // namespace kzjournal

#endif
