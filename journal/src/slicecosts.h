#ifndef KZJOURNALSLICECOSTS_H
#define KZJOURNALSLICECOSTS_H

#include <SQLiteCpp/SQLiteCpp.h>

#include <optional>

#include "kzstatslicecost.h"

namespace kzjournal {

/// The columns of a slice's cost, which end with its checksum.
inline constexpr char kSelectCost[] =
    "measured, processor_time, processors, busiest_thread, longest_wait, involuntary_switches,"
    " reporter_wait, pack_time, listener_time, timer_lateness, start_lateness, cost_checksum";

/// Binds these columns from `column` on. A slice that was not measured has a checksum, too.
/// A number that is negative or infinite is bound as unknown.
void BindCost(SQLite::Statement& statement, int column, int sliceId,
              const std::optional<CKZStatSliceCost>& cost);

/// Reads them from `column` on: no value where none was stored. Returns false where they are not
/// as they were stored, or a number is impossible.
bool ReadCost(SQLite::Statement& row, int column, int sliceId,
              std::optional<CKZStatSliceCost>& cost);

}  // namespace kzjournal

#endif
