#ifndef KZSTATPROGRAM_NUMBERS_H
#define KZSTATPROGRAM_NUMBERS_H

#include "terminal/numbers.h"

namespace kzstatprogram {

using kzterminal::ExactNumber;
using kzterminal::ReadableNumber;

}  // namespace kzstatprogram

#endif
