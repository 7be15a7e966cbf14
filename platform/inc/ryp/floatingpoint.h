#ifndef RYP_FLOATINGPOINT_H
#define RYP_FLOATINGPOINT_H

#include <cfloat>

// Hosts compile inline code that aggregates doubles. With the extended precision of the x87 unit
// its sums would differ from those of the library, depending on register allocation. The generated
// export headers include this file, so every host does.
//
// With -ffast-math some compilers report the precision as unknown; it is not extended then.
#if FLT_EVAL_METHOD > 1 || (FLT_EVAL_METHOD < 0 && !defined(__FAST_MATH__))
#error "doubles are computed in extended precision: compile with -msse2 -mfpmath=sse"
#endif

#endif
