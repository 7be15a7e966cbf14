#include "terminal/output.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "terminal/terminaltext.h"

namespace kzterminal {
namespace {

constexpr winsize kDefaultSize = {24, 80, 0, 0};
constexpr std::size_t kMaxPendingBytes = 65536;

constexpr char kBold[] = "\x1b[1m";
constexpr char kRed[] = "\x1b[31m";
constexpr char kAsUsual[] = "\x1b[m";

bool TerminalCanRedraw() {
    const char* const kind = std::getenv("TERM");
    return kind != nullptr && std::strcmp(kind, "dumb") != 0;
}

bool UserWantsNoColours() {
    const char* const wish = std::getenv("NO_COLOR");
    return wish != nullptr && *wish != '\0';
}

[[noreturn]] void ThrowWriteError() {
    const int error = errno;
    const std::string text =
        std::string("cannot write to standard output: ") + std::strerror(error);
    if (error == EPIPE) throw NobodyReads(text);
    throw kzjournal::Error(text);
}

/// A serial line, for example, tells neither or only what somebody has set.
winsize Size() {
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return kDefaultSize;
    if (size.ws_col == 0) size.ws_col = kDefaultSize.ws_col;
    if (size.ws_row == 0) size.ws_row = kDefaultSize.ws_row;
    return size;
}

}  // namespace

Output::Output()
    : m_isTerminal(isatty(STDOUT_FILENO) != 0),
      m_canRedraw(m_isTerminal && TerminalCanRedraw()),
      m_hasColours(m_canRedraw && !UserWantsNoColours()) {}

void Output::Write(std::string_view text) {
    m_pending += text;
    if (m_pending.size() >= kMaxPendingBytes) Flush();
}

void Output::WriteLine(std::string_view line, Style style) {
    Write(Styled(line, style) + "\n");
}

std::string Output::Styled(std::string_view line, Style style) const {
    if (style == Plain || !m_hasColours) return std::string(line);
    return std::string(style == Bad ? kRed : kBold).append(line).append(kAsUsual);
}

void Output::Flush() {
    const std::string text = std::exchange(m_pending, {});
    std::string_view rest = text;
    while (!rest.empty()) {
        const ssize_t written = write(STDOUT_FILENO, rest.data(), rest.size());
        if (written < 0 && errno != EINTR) ThrowWriteError();
        if (written > 0) rest.remove_prefix(static_cast<std::size_t>(written));
    }
}

std::string Output::Fit(std::string_view line) const {
    return m_isTerminal ? Cut(line, Width()) : std::string(line);
}

std::size_t Output::Width() const {
    return Size().ws_col;
}

std::size_t Output::Height() const {
    return Size().ws_row;
}

}  // namespace kzterminal
