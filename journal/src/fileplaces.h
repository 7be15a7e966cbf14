#ifndef KZJOURNALFILEPLACES_H
#define KZJOURNALFILEPLACES_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace kzjournal {

/// Where a journal and its companions were when they were opened: an open file is written on after
/// it was removed or replaced, and is gone with the process then.
///
/// Compatible.
class FilePlaces {
public:
    /// Notes the files that `path` and the names of its companions lead to.
    explicit FilePlaces(const std::string& path);

    /// A name that leads to another file now, or to none; empty if all are in their places.
    std::string Displaced() const;

private:
    struct Place {
        std::string name;
        dev_t device;
        ino_t inode;
    };

    std::vector<Place> m_places;
};

}  // namespace kzjournal

#endif
