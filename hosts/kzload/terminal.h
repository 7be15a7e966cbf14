#ifndef KZLOAD_TERMINAL_H
#define KZLOAD_TERMINAL_H

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "kzjournalerror.h"
#include "report.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "terminal/output.h"

namespace kzload {

/// Standard output and standard error. On a terminal, lines are cut to its width (a '>' at the end
/// shows that), and the bottom line may show the progress, which is redrawn in place. Elsewhere
/// there are plain lines only, each written at once.
///
/// Safe for concurrent use.
class Terminal {
public:
    /// `quiet` leaves out rows, progress and notes.
    explicit Terminal(bool quiet);

    /// Lines around the figures, which a quiet run leaves out.
    void PrintFrame(const std::vector<std::string>& lines);
    /// The first row comes with the header.
    void PrintRow(const SliceRow& row);
    void PrintLines(const std::vector<std::string>& lines, kzterminal::Output::Style style = {});
    /// The final table, in the columns that a terminal has room for.
    void PrintTotals(const std::vector<Total>& totals);

    /// Shown until the next lines that are no rows.
    void ShowProgress(const Progress& progress);

    /// A line on standard error about what is going on.
    void Note(const std::string& text);
    /// The same also where it is quiet: what the user would want to know of.
    void Warn(const std::string& text);
    /// A line on standard error about what went wrong. One that was told before is not repeated.
    void Complain(const std::string& text);
    /// The same for a fault, where there is one.
    void Complain(const std::optional<kzjournal::Error>& error);
    bool HasComplained() const;

    /// Complains where standard output could not take everything.
    void CheckOutput();

private:
    void WriteLine(const std::string& line, kzterminal::Output::Style style = {})
        RYP_REQUIRES(m_lock);
    void WriteError(const std::string& text) RYP_REQUIRES(m_lock);
    void Flush() RYP_REQUIRES(m_lock);
    void Erase() RYP_REQUIRES(m_lock);

    const bool m_quiet;
    mutable RWMutexLock m_lock;
    kzterminal::Output m_output RYP_GUARDED_BY(m_lock);
    bool m_hasHeader RYP_GUARDED_BY(m_lock) = false;
    std::string m_progressLine RYP_GUARDED_BY(m_lock);  // empty: none is shown
    std::set<std::string> m_complaints RYP_GUARDED_BY(m_lock);
    std::optional<kzjournal::Error> m_outputFault RYP_GUARDED_BY(m_lock);  // the first one
    std::string m_pending RYP_GUARDED_BY(m_lock);  // written at once, so that nothing flickers
};

}  // namespace kzload

#endif
