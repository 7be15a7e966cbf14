#ifndef KZLOAD_STOPSIGNAL_H
#define KZLOAD_STOPSIGNAL_H

namespace kzload {

/// SIGINT and SIGTERM, each for the first time, ask the run to stop; a second one ends the
/// process. A pipe or connection whose reader is gone raises no signal: writes to it fail.
/// Called once, before other threads start.
void CatchStopSignals();

/// True once a stop was asked for. Safe for concurrent use.
bool StopIsRequested();

}  // namespace kzload

#endif
