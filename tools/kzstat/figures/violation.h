#ifndef KZSTATPROGRAM_VIOLATION_H
#define KZSTATPROGRAM_VIOLATION_H

#include <string>

namespace kzstatprogram {

/// What does not hold of a run, as a line. Thrown, since it ends a walk through slices.
struct Violation {
    std::string text;
};

/// Throws unless `text`, which says what is wrong with a slice, is empty.
inline void ThrowIfViolated(const std::string& text) {
    if (!text.empty()) throw Violation{text};
}

}  // namespace kzstatprogram

#endif
