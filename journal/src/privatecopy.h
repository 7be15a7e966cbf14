#ifndef KZJOURNALPRIVATECOPY_H
#define KZJOURNALPRIVATECOPY_H

#include <string>

namespace kzjournal {

/// A journal with its companions in a folder of their own, which only this user may read. The
/// folder is gone when this is destroyed. Compatible.
class PrivateCopy {
public:
    /// Throws `Error`. REQUIRES: this process does not write the journal, since copying a file
    /// releases the locks that the process holds on it.
    explicit PrivateCopy(const std::string& path);
    ~PrivateCopy();
    PrivateCopy(const PrivateCopy&) = delete;
    PrivateCopy& operator=(const PrivateCopy&) = delete;

    /// Of the copied journal.
    std::string Path() const { return m_folder + "/run.kzj"; }

    /// Removes the folder now. What has the files open still reads them.
    void Remove();

private:
    void MakeFolder();
    void CopyFiles(const std::string& path) const;

    std::string m_folder;
};

}  // namespace kzjournal

#endif
