#ifndef KZTERMINAL_NUMBERS_H
#define KZTERMINAL_NUMBERS_H

#include <string>

namespace kzterminal {

/// For people: whole numbers as they are, others with as many decimals as their size deserves.
std::string ReadableNumber(double value);

/// The shortest decimal that reads back to the same double.
std::string ExactNumber(double value);

}  // namespace kzterminal

#endif
