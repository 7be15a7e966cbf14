#ifndef KZTERMINAL_STOPSIGNAL_H
#define KZTERMINAL_STOPSIGNAL_H

#include <chrono>

namespace kzterminal {

/// Has writes fail, instead of ending the process: those to a pipe or connection whose reader is
/// gone, and those beyond the size that the process may give a file.
void IgnoreSignalsOfWrites();

/// SIGINT, SIGTERM and SIGHUP ask the program to stop. A second SIGINT or SIGTERM ends the process;
/// SIGHUP is left alone if the process was started with it ignored. Called once, before other
/// threads start. Throws kzjournal::Error.
void CatchStopSignals();

// The rest is safe for concurrent use.

/// True once a stop was asked for.
bool StopIsRequested();

/// Waits until a stop is asked for, `patience` at most. Returns `StopIsRequested()`.
/// REQUIRES: `CatchStopSignals` has returned.
bool WaitForStop(std::chrono::milliseconds patience);

/// Waits as long as it takes. REQUIRES: `CatchStopSignals` has returned.
void WaitForStop();

}  // namespace kzterminal

#endif
