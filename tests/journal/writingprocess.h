#ifndef KZ_TESTS_WRITINGPROCESS_H
#define KZ_TESTS_WRITINGPROCESS_H

#include "kzjournalwriter.h"

/// What the writing process tells of a slice once its hook has returned.
struct AppendedSlice {
    int id;
    kzjournal::SliceState state;
    bool isProblemTold;
};

#endif
