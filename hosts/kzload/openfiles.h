#ifndef KZLOAD_OPENFILES_H
#define KZLOAD_OPENFILES_H

namespace kzload {

/// Allows the process as many open files as the system lets it, and throws `kzjournal::Error` if
/// they are too few for a connection of every client. `serves` says whether the server that they
/// connect to is in this process. Changes the process: for its start.
void AllowOpenFiles(int clients, int threads, bool serves);

}  // namespace kzload

#endif
