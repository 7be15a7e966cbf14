#ifndef KZSTATDUMPFIELD_H
#define KZSTATDUMPFIELD_H

#include "rw/cstring.h"
#include "ryp/numbertext.h"

/// The fields of the text dump: each is followed by this byte, the last one of a run too.
inline constexpr char kFieldEnd = '\x01';
inline constexpr int kFieldDecimals = 3;

inline void KzAppendField(RWCString& out, const char* text) {
    (out += text) += kFieldEnd;
}

inline void KzAppendField(RWCString& out, double value) {
    RyPAppendDouble(value, out, kFieldDecimals);
    out += kFieldEnd;
}

inline void KzAppendField(RWCString& out, long long value) {
    RyPAppendInt(value, out);
    out += kFieldEnd;
}

#endif
