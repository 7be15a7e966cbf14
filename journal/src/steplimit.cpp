#include "steplimit.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

namespace kzjournal {
namespace {

constexpr int kStepsBetweenLooks = 1000;

/// About as many as are made in the time of a few steps. A journal that was written as one, whose
/// blocks may have some thousand times their bytes, never runs out of steps.
constexpr std::size_t kBytesPerStep = 64;

}  // namespace

void StepLimit::Watch(sqlite3* database) {
    sqlite3_progress_handler(database, kStepsBetweenLooks, OnProgress, this);
}

void StepLimit::SpendOnBytes(std::size_t bytes) {
    if (!Spend(static_cast<long long>(bytes / kBytesPerStep)))
        throw SQLite::Exception("interrupted", SQLITE_INTERRUPT);
}

/// Returns false once the work is to end.
bool StepLimit::Spend(long long steps) {
    m_left -= steps;
    return m_left >= 0 && !IsStopped();
}

int StepLimit::OnProgress(void* self) {
    return static_cast<StepLimit*>(self)->Spend(kStepsBetweenLooks) ? 0 : 1;
}

}  // namespace kzjournal
