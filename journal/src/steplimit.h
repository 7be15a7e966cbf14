#ifndef KZJOURNALSTEPLIMIT_H
#define KZJOURNALSTEPLIMIT_H

#include <cstddef>
#include <functional>
#include <utility>

struct sqlite3;

namespace kzjournal {

/// Ends the work of a database that takes too many steps or is no longer wanted. Compatible.
class StepLimit {
public:
    /// `database` must not outlive this.
    void Watch(sqlite3* database);

    void Allow(long long steps) { m_left = steps; }

    /// Counts the steps of work that is not the database's: that of making so many bytes of a
    /// block. Throws `SQLite::Exception` if there are too few, as if the database had ended it.
    void SpendOnBytes(std::size_t bytes);

    /// Asked again and again while the database works; its work ends once it returns true.
    void SetStopRequest(std::function<bool()> isRequested) {
        m_isStopRequested = std::move(isRequested);
    }

    bool IsStopped() const { return m_isStopRequested && m_isStopRequested(); }

private:
    bool Spend(long long steps);
    static int OnProgress(void* self);

    std::function<bool()> m_isStopRequested;
    long long m_left = 0;
};

}  // namespace kzjournal

#endif
