#include "terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace kzload {
namespace {

constexpr std::size_t kUsualWidth = 80;
constexpr char kEraseLine[] = "\r\x1b[K";

/// The columns of a line. Asked for each time, since a window changes its size.
std::size_t Width() {
    winsize size = {};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : kUsualWidth;
}

std::string Cut(const std::string& line, std::size_t width) {
    return line.size() <= width ? line : line.substr(0, width - 1) + ">";
}

bool CanRedraw() {
    const char* const kind = std::getenv("TERM");
    return kind != nullptr && std::strcmp(kind, "dumb") != 0;
}

}  // namespace

Terminal::Terminal(bool quiet)
    : m_quiet(quiet),
      m_isTerminal(isatty(STDOUT_FILENO) != 0),
      m_canRedraw(m_isTerminal && CanRedraw()) {}

void Terminal::PrintFrame(const std::vector<std::string>& lines) {
    if (!m_quiet) PrintLines(lines);
}

void Terminal::PrintRow(const SliceRow& row) {
    if (m_quiet) return;
    const RWMutexLock::LockGuard guard(m_lock);
    const std::string progress = m_progressLine;
    Erase();
    if (!std::exchange(m_hasHeader, true)) WriteLine(RowHeader());
    WriteLine(RowLine(row));
    m_pending += progress;
    m_progressLine = progress;
    Flush();
}

void Terminal::PrintLines(const std::vector<std::string>& lines) {
    const RWMutexLock::LockGuard guard(m_lock);
    Erase();
    for (const std::string& line : lines) WriteLine(line);
    Flush();
}

void Terminal::ShowProgress(const Progress& progress) {
    if (m_quiet || !m_canRedraw) return;
    const RWMutexLock::LockGuard guard(m_lock);
    Erase();
    // The last column stays free: a terminal may wrap as soon as it is written.
    m_progressLine = ProgressLine(progress, Width() - 1);
    m_pending += m_progressLine;
    Flush();
}

void Terminal::Note(const std::string& text) {
    if (m_quiet) return;
    const RWMutexLock::LockGuard guard(m_lock);
    WriteError(text);
}

void Terminal::Complain(const std::string& text) {
    const RWMutexLock::LockGuard guard(m_lock);
    if (m_complaints.insert(text).second) WriteError(text);
}

void Terminal::Complain(const std::optional<kzjournal::Error>& error) {
    if (error) Complain(error->what());
}

bool Terminal::HasComplained() const {
    const RWMutexLock::LockGuard guard(m_lock);
    return !m_complaints.empty();
}

void Terminal::CheckOutput() {
    int error = 0;
    {
        const RWMutexLock::LockGuard guard(m_lock);
        error = m_outputError;
    }
    if (error != 0)
        Complain(std::string("cannot write to standard output: ") + std::strerror(error));
}

void Terminal::WriteLine(const std::string& line) {
    m_pending += m_isTerminal ? Cut(line, Width()) : line;
    m_pending += '\n';
}

void Terminal::WriteError(const std::string& text) {
    Erase();
    Flush();
    std::fprintf(stderr, "kzload: %s\n", text.c_str());
}

void Terminal::Flush() {
    std::fputs(m_pending.c_str(), stdout);
    m_pending.clear();
    errno = 0;
    if (std::fflush(stdout) != 0 && m_outputError == 0) m_outputError = errno;
}

void Terminal::Erase() {
    if (!m_progressLine.empty()) m_pending += kEraseLine;
    m_progressLine.clear();
}

}  // namespace kzload
