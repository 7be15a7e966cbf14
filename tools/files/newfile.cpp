#include "files/newfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>

#include "files/fileplace.h"
#include "kzjournalerror.h"

namespace kzfiles {
namespace {

constexpr mode_t kPermissions = 07777;
constexpr mode_t kReadAndWrite = 0666;
constexpr mode_t kOwnersOnly = 0600;

[[noreturn]] void FailToWrite(const std::string& path) {
    throw kzjournal::Error("cannot write " + path + ": " + std::strerror(errno));
}

mode_t PermissionsFor(NewFile::Readers readers) {
    if (readers == NewFile::Readers::Owner) return kOwnersOnly;
    const mode_t mask = umask(0);
    umask(mask);
    return kReadAndWrite & ~mask;
}

/// Makes `file` look like the one at `path`, if there is one.
void Dress(int file, const std::string& path, NewFile::Readers readers) {
    struct stat former = {};
    const bool isThere = stat(path.c_str(), &former) == 0;
    // Before the permissions, which a change of the owner takes away. Only the superuser may give
    // files away.
    if (isThere && fchown(file, former.st_uid, former.st_gid) != 0) errno = 0;
    fchmod(file, isThere ? former.st_mode & kPermissions : PermissionsFor(readers));
}

bool Sync(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return false;
    const bool isDone = fsync(file) == 0;
    close(file);
    return isDone;
}

/// `path` is named where that fails; `target` is written to.
void WriteInto(const std::string& path, const std::string& target, std::string_view text) {
    const int file = open(target.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
    if (file < 0) FailToWrite(path);
    const int error = WriteAll(file, text);
    const bool isClosed = close(file) == 0;
    if (error != 0) errno = error;
    if (error != 0 || !isClosed) FailToWrite(path);
}

/// Standard output or standard error, where the path leads there.
std::optional<int> StandardStreamAt(const std::string& path) {
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO})
        if (const auto place = PlaceOf(stream); place && place == PlaceOf(path)) return stream;
    return std::nullopt;
}

}  // namespace

NewFile::NewFile(const std::string& path, Existing existing, Readers readers)
    : m_path(existing == Existing::Replace ? BehindLinks(path) : path),
      m_replaces(existing == Existing::Replace),
      m_temporaryPath(m_path + ".new-XXXXXX") {
    // A rename asks for no permission of the file.
    if (m_replaces && faccessat(AT_FDCWD, m_path.c_str(), W_OK, AT_EACCESS) != 0 && errno != ENOENT)
        Fail();
    const int file = mkostemp(m_temporaryPath.data(), O_CLOEXEC);
    if (file < 0) Fail();
    Dress(file, m_path, readers);
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
    FailToWrite(m_path);
}

int WriteAll(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(file, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) return errno;
        if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

void WriteFile(const std::string& path, std::string_view text) {
    // Whoever else writes to the stream would go on in a file that has no name any more.
    if (const std::optional<int> stream = StandardStreamAt(path)) {
        errno = WriteAll(*stream, text);
        if (errno != 0) FailToWrite(path);
        return;
    }
    struct stat facts = {};
    if (stat(path.c_str(), &facts) == 0 && !S_ISREG(facts.st_mode))
        return WriteInto(path, path, text);
    NewFile file(path, NewFile::Existing::Replace, NewFile::Readers::AsUsual);
    WriteInto(path, file.TemporaryPath(), text);
    file.Rename();
}

}  // namespace kzfiles
