#ifndef KZFILES_NEWFILE_H
#define KZFILES_NEWFILE_H

#include <sys/types.h>

#include <string>
#include <string_view>

namespace kzfiles {

/// Makes a file that comes into being as a whole or not at all: it is written under a temporary
/// name beside its own and renamed at the end. Compatible.
class NewFile {
public:
    enum class Existing {
        Keep,    ///< a file that is there already, or comes meanwhile, is left alone
        Replace  ///< it is replaced; its owner, as far as possible, and permissions are kept
    };
    /// Who may read a new file.
    enum class Readers {
        Owner,
        AsUsual  ///< those that the umask allows
    };

    /// Makes the temporary file, empty. A link is seen through: the file behind it is replaced.
    /// Throws kzjournal::Error, also where the file that is to be replaced may not be written.
    /// REQUIRES: no other thread makes files, since the umask of the process is read by setting it.
    NewFile(const std::string& path, Existing existing, Readers readers);
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

/// Writes all of `bytes`, in several goes if it must, and returns 0 or the error. Safe for
/// concurrent use with different files.
int WriteAll(int file, std::string_view bytes);

/// Writes `text` as the whole of the file at `path`, by a `NewFile` that replaces the one that is
/// there. Pipes, devices and the standard streams, under whatever name, are written to. Throws
/// kzjournal::Error; a file is as it was then.
void WriteFile(const std::string& path, std::string_view text);

}  // namespace kzfiles

#endif
