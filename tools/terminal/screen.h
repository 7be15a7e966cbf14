#ifndef KZTERMINAL_SCREEN_H
#define KZTERMINAL_SCREEN_H

#include <string>
#include <vector>

#include "terminal/output.h"

namespace kzterminal {

/// A terminal of which the whole screen is drawn again and again; what was there before comes back
/// at the end. Compatible.
class Screen {
public:
    /// REQUIRES: the output can redraw.
    explicit Screen(Output& output);
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    /// Shows the lines from the top on, as far as they fit; the last line says how many do not.
    void Draw(std::vector<Output::Line> lines);

private:
    Output& m_output;
};

}  // namespace kzterminal

#endif
