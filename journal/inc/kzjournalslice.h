#ifndef KZJOURNALSLICE_H
#define KZJOURNALSLICE_H

#include <string>
#include <vector>

#include "kzstatmessage.h"

namespace kzjournal {

/// One slice of a run, as stored in its journal. Compatible.
struct Slice {
    int id = 0;
    double elapsed = 0;   ///< the end of the slice, in seconds since the start of the run
    double endTime = 0;   ///< the same moment in seconds since 1970-01-01 UTC
    std::string message;  ///< as it was sent
    std::vector<CKZStatMessageRecord> records;  ///< the exact values, in no particular order
};

}  // namespace kzjournal

#endif
