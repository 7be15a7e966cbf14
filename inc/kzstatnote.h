#ifndef KZSTATNOTE_H
#define KZSTATNOTE_H

#include "rw/cstring.h"

/// What a host found worth knowing about a moment of its run. Compatible.
struct CKZStatNote {
    double time = 0;  ///< seconds since 1970-01-01 UTC
    RWCString text;   ///< any bytes but 0
};

#endif
