#ifndef RYP_FLOATINGPOINT_H
#define RYP_FLOATINGPOINT_H

#include <cfloat>

// Values are aggregated in doubles, in code that hosts compile too. With the extended precision of
// the x87 unit they would sum to other doubles than the library does, depending on which of them
// the compiler keeps in registers. The build's export headers include this, so every host does.
//
// Some compilers cannot tell the precision of -ffast-math: they round otherwise, but not wider.
#if FLT_EVAL_METHOD > 1 || (FLT_EVAL_METHOD < 0 && !defined(__FAST_MATH__))
#error "doubles are computed in extended precision: compile with -msse2 -mfpmath=sse"
#endif

#endif
