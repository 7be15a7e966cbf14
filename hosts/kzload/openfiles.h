#ifndef KZLOAD_OPENFILES_H
#define KZLOAD_OPENFILES_H

#include "options.h"

namespace kzload {

/// Allows the process as many open files as the system lets it, and throws `kzjournal::Error` if
/// they are too few for a connection of every client. Changes the process: for its start.
void AllowOpenFiles(const Options& options);

}  // namespace kzload

#endif
