#ifndef KZTERMINAL_OUTPUT_H
#define KZTERMINAL_OUTPUT_H

#include <cstddef>
#include <string>
#include <string_view>

#include "kzjournalerror.h"

namespace kzterminal {

/// The reader of standard output went away. A program that only writes for others has done its work
/// by then.
class NobodyReads : public kzjournal::Error {
public:
    using Error::Error;
};

/// Standard output. What writes throws kzjournal::Error, which is `NobodyReads` where that is the
/// cause; what was written since the last flush is lost then. Compatible.
class Output {
public:
    Output();

    /// How a line stands out, on a terminal with colours.
    enum Style { Plain, Striking, Bad };
    struct Line {
        std::string text;
        Style style = Plain;
    };

    void Write(std::string_view text);
    void WriteLine(std::string_view line, Style style = Plain);
    void Flush();

    /// The line with what makes it stand out.
    std::string Styled(std::string_view line, Style style) const;

    /// The line as it is shown: printable and cut to the width on a terminal, whole elsewhere.
    std::string Fit(std::string_view line) const;

    bool IsTerminal() const { return m_isTerminal; }
    /// True on a terminal that can, unless NO_COLOR is set.
    bool HasColours() const { return m_hasColours; }
    /// True on a terminal that can move its cursor.
    bool CanRedraw() const { return m_canRedraw; }

    // Asked for each time, since a window changes its size.
    std::size_t Width() const;
    std::size_t Height() const;

private:
    const bool m_isTerminal;
    const bool m_canRedraw;
    const bool m_hasColours;
    std::string m_pending;
};

}  // namespace kzterminal

#endif
