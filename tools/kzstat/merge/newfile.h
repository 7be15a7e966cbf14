#ifndef KZSTATPROGRAM_NEWFILE_H
#define KZSTATPROGRAM_NEWFILE_H

#include <string>

namespace kzstatprogram {

/// Makes a file that comes into being as a whole or not at all: it is written under a temporary
/// name beside its own and renamed at the end. Compatible.
class NewFile {
public:
    /// Makes the temporary file, empty. A file that is there already is to be replaced, and its
    /// permissions are kept, if `replaces` says so; a new one has those that the umask allows.
    /// Throws kzjournal::Error. REQUIRES: no other thread makes files, since the umask of the
    /// process is read by setting it.
    NewFile(const std::string& path, bool replaces);
    /// Removes the temporary file and what a journal has beside it, unless it was renamed.
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    const std::string& TemporaryPath() const { return m_temporaryPath; }

    /// Gives the file its name once its bytes are on the disk. Throws kzjournal::Error, also where
    /// a file came meanwhile that is not to be replaced.
    void Rename();

private:
    [[noreturn]] void Fail() const;

    const std::string m_path;
    const bool m_replaces;
    std::string m_temporaryPath;
    bool m_isRenamed = false;
};

}  // namespace kzstatprogram

#endif
