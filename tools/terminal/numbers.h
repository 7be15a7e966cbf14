#ifndef KZTERMINAL_NUMBERS_H
#define KZTERMINAL_NUMBERS_H

#include <string>

namespace kzterminal {

/// For people: whole numbers as they are, others with as many decimals as their size deserves.
std::string ReadableNumber(double value);

/// The shortest decimal that reads back to the same double.
std::string ExactNumber(double value);

/// "0:30.5", "1:02:03": a moment of a run, in seconds since its start, to a tenth of a second.
std::string TimeOfRun(double seconds);

}  // namespace kzterminal

#endif
