#ifndef KZFILES_FILEPLACE_H
#define KZFILES_FILEPLACE_H

#include <sys/stat.h>

#include <optional>
#include <string>

namespace kzfiles {

/// Which file a path leads to: the same for every spelling of it, and through links. A file that
/// does not exist yet is told by its folder and its name. Compatible.
struct FilePlace {
    dev_t device = 0;
    ino_t inode = 0;   ///< of the file, or of its folder if the file does not exist
    std::string name;  ///< within the folder; empty if the file exists

    friend bool operator==(const FilePlace& a, const FilePlace& b) {
        return a.device == b.device && a.inode == b.inode && a.name == b.name;
    }
};

// These functions are safe for concurrent use.

/// No value if neither the file nor its folder exists.
std::optional<FilePlace> PlaceOf(const std::string& path);

/// No value if the descriptor is closed.
std::optional<FilePlace> PlaceOf(int descriptor);

/// The path behind all links, also where the last one leads to a file that does not exist.
std::string BehindLinks(const std::string& path);

}  // namespace kzfiles

#endif
