#include "terminal/screen.h"

#include "terminal/terminaltext.h"

namespace kzterminal {
namespace {

constexpr char kEnter[] = "\x1b[?1049h\x1b[?25l";
constexpr char kLeave[] = "\x1b[?25h\x1b[?1049l";
constexpr char kTop[] = "\x1b[H";
constexpr char kEraseRestOfLine[] = "\x1b[K";
constexpr char kEraseRestOfScreen[] = "\x1b[J";

}  // namespace

Screen::Screen(Output& output) : m_output(output) {
    m_output.Write(kEnter);
}

Screen::~Screen() {
    try {
        m_output.Write(kLeave);
        m_output.Flush();
    } catch (...) {
        // The terminal is gone, and nobody is left to see what it shows.
    }
}

void Screen::Draw(std::vector<Output::Line> lines) {
    const std::size_t height = m_output.Height();
    if (lines.size() > height) {
        const std::size_t shown = height - 1;
        const std::string rest = "... and " + std::to_string(lines.size() - shown) + " more";
        lines.resize(shown);
        lines.push_back({rest});
    }
    std::string picture = kTop;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        picture += i == 0 ? "" : "\r\n";
        picture += m_output.Styled(Cut(lines[i].text, m_output.Width()), lines[i].style);
        picture += kEraseRestOfLine;
    }
    m_output.Write(picture + kEraseRestOfScreen);
    m_output.Flush();
}

}  // namespace kzterminal
