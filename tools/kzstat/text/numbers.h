#ifndef KZSTATPROGRAM_NUMBERS_H
#define KZSTATPROGRAM_NUMBERS_H

#include <string>

namespace kzstatprogram {

/// For people: whole numbers as they are, others with as many decimals as their size deserves.
std::string ReadableNumber(double value);

/// The shortest decimal that reads back to the same double.
std::string ExactNumber(double value);

}  // namespace kzstatprogram

#endif
