#ifndef KZSTAT_OUTPUT_H
#define KZSTAT_OUTPUT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace kzstat {

/// The reader of standard output has what it wanted and went away. No error.
class NobodyReads {};

/// Standard output. All operations throw `NobodyReads`, or std::runtime_error with a line for the
/// user. Compatible.
class Output {
public:
    Output();

    void Write(std::string_view text);
    /// How a line stands out, on a terminal with colours.
    enum Style { Plain, Striking, Bad };
    void WriteLine(std::string_view line, Style style = Plain);
    void Flush();

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

}  // namespace kzstat

#endif
