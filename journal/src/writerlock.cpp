#include "writerlock.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "kzjournalerror.h"

namespace kzjournal {
namespace {

/// The whole file, however long it becomes.
struct flock WholeFile(short type) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return lock;
}

/// The database puts the log beside the file that a link leads to.
std::string LogOf(const std::string& path) {
    std::error_code error;
    const std::filesystem::path file = std::filesystem::canonical(path, error);
    return (error ? path : file.string()) + "-wal";
}

}  // namespace

WriterLock::WriterLock(const std::string& path)
    : m_file(open(LogOf(path).c_str(), O_RDWR | O_CLOEXEC)) {
    // Where the database does without a log, readers conclude nothing either.
    if (m_file < 0 && errno == ENOENT) return;
    if (m_file < 0) throw Error("cannot open " + LogOf(path) + ": " + std::strerror(errno));
    struct flock lock = WholeFile(F_WRLCK);
    // The same goes for a file system without locks: they meet the same error.
    fcntl(m_file, F_OFD_SETLK, &lock);
}

WriterLock::~WriterLock() {
    if (m_file >= 0) close(m_file);
}

WriterLock::WriterLock(WriterLock&& other) noexcept : m_file(std::exchange(other.m_file, -1)) {}

bool WriterLock::IsFree(const std::string& path) {
    const int file = open(LogOf(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) return false;
    struct flock lock = WholeFile(F_RDLCK);
    const bool isFree = fcntl(file, F_OFD_GETLK, &lock) == 0 && lock.l_type == F_UNLCK;
    close(file);
    return isFree;
}

}  // namespace kzjournal
