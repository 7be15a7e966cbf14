#ifndef RYP_NUMBERTEXT_H
#define RYP_NUMBERTEXT_H

#include "kzplatform_export.h"

class RWCString;

/// Numbers to text and back, with a decimal point in every locale. All functions are
/// safe for concurrent use.

/// Replaces `text` with `value` in fixed notation with exactly `precision` decimals (0 if
/// `precision` is negative), correctly rounded; or with "nan", "inf" or "-inf".
KZPLATFORM_EXPORT void RyPDoubleToString(double value, RWCString& text, int precision);

/// Replaces `text` with `value` in decimal.
KZPLATFORM_EXPORT void RyPIntToString(long long value, RWCString& text);

/// The same, appended to `text`.
KZPLATFORM_EXPORT void RyPAppendDouble(double value, RWCString& text, int precision);
KZPLATFORM_EXPORT void RyPAppendInt(long long value, RWCString& text);

/// The number at the start of `text`, as `strtod` reads it in the "C" locale; 0 if there is none.
KZPLATFORM_EXPORT double RyPStringToDouble(const char* text);

#endif
