#include "merge/newfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "kzjournalerror.h"

namespace kzstatprogram {
namespace {

constexpr mode_t kPermissions = 07777;
constexpr mode_t kReadAndWrite = 0666;

/// Those of `path` if it is there, and otherwise those that the user wants for new files.
mode_t PermissionsFor(const std::string& path) {
    struct stat facts = {};
    if (stat(path.c_str(), &facts) == 0) return facts.st_mode & kPermissions;
    const mode_t mask = umask(0);
    umask(mask);
    return kReadAndWrite & ~mask;
}

/// A file that is renamed through a link would replace the link.
std::string BehindLinks(const std::string& path) {
    std::error_code ignored;
    const std::filesystem::path real = std::filesystem::canonical(path, ignored);
    return real.empty() ? path : real.string();
}

bool Sync(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return false;
    const bool isDone = fsync(file) == 0;
    close(file);
    return isDone;
}

}  // namespace

NewFile::NewFile(const std::string& path, bool replaces)
    : m_path(replaces ? BehindLinks(path) : path),
      m_replaces(replaces),
      m_temporaryPath(m_path + ".merging-XXXXXX") {
    const int file = mkstemp(m_temporaryPath.data());
    if (file < 0) Fail();
    fchmod(file, PermissionsFor(m_path));
    close(file);
}

NewFile::~NewFile() {
    if (m_isRenamed) return;
    // A journal that was not closed leaves files beside its own.
    for (const char* suffix : {"", "-wal", "-shm", "-journal"})
        unlink((m_temporaryPath + suffix).c_str());
}

void NewFile::Rename() {
    if (!Sync(m_temporaryPath)) Fail();
    const unsigned mode = m_replaces ? 0 : RENAME_NOREPLACE;
    int status = renameat2(AT_FDCWD, m_temporaryPath.c_str(), AT_FDCWD, m_path.c_str(), mode);
    // Not every file system can tell the two apart.
    if (status != 0 && errno == EINVAL)
        status = std::rename(m_temporaryPath.c_str(), m_path.c_str());
    if (status != 0) Fail();
    m_isRenamed = true;
    Sync(std::filesystem::absolute(m_path).parent_path());
}

void NewFile::Fail() const {
    throw kzjournal::Error("cannot make " + m_path + ": " + std::strerror(errno));
}

}  // namespace kzstatprogram
