#include "terminal.h"

#include <cstdio>
#include <utility>

#include "terminal/terminaltext.h"

namespace kzload {
namespace {

constexpr char kEraseLine[] = "\r\x1b[K";

}  // namespace

Terminal::Terminal(bool quiet) : m_quiet(quiet) {}

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

void Terminal::PrintLines(const std::vector<std::string>& lines, kzterminal::Output::Style style) {
    const RWMutexLock::LockGuard guard(m_lock);
    Erase();
    for (const std::string& line : lines) WriteLine(line, style);
    Flush();
}

void Terminal::PrintTotals(const std::vector<Total>& totals) {
    const RWMutexLock::LockGuard guard(m_lock);
    const std::size_t width = m_output.IsTerminal() ? m_output.Width() : std::string::npos;
    Erase();
    for (const kzterminal::Output::Line& line : TotalsTable(totals, width))
        WriteLine(line.text, line.style);
    Flush();
}

void Terminal::ShowProgress(const Progress& progress) {
    if (m_quiet) return;
    const RWMutexLock::LockGuard guard(m_lock);
    if (!m_output.CanRedraw()) return;
    Erase();
    // The last column stays free: a terminal may wrap as soon as it is written.
    m_progressLine = ProgressLine(progress, m_output.Width() - 1);
    m_pending += m_progressLine;
    Flush();
}

void Terminal::Note(const std::string& text) {
    if (!m_quiet) Warn(text);
}

void Terminal::Warn(const std::string& text) {
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
    std::optional<kzjournal::Error> fault;
    {
        const RWMutexLock::LockGuard guard(m_lock);
        fault = m_outputFault;
    }
    Complain(fault);
}

void Terminal::WriteLine(const std::string& line, kzterminal::Output::Style style) {
    m_pending += m_output.Styled(m_output.Fit(line), style) + '\n';
}

void Terminal::WriteError(const std::string& text) {
    Erase();
    Flush();
    std::fprintf(stderr, "kzload: %s\n", kzterminal::Printable(text).c_str());
}

void Terminal::Flush() {
    try {
        m_output.Write(std::exchange(m_pending, {}));
        m_output.Flush();
    } catch (const kzjournal::Error& error) {
        if (!m_outputFault) m_outputFault = error;
    }
}

void Terminal::Erase() {
    if (!m_progressLine.empty()) m_pending += kEraseLine;
    m_progressLine.clear();
}

}  // namespace kzload
