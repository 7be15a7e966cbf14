#include "fileplaces.h"

#include <sys/stat.h>

#include <cerrno>

namespace kzjournal {

FilePlaces::FilePlaces(const std::string& path) {
    for (const char* const companion : {"", "-wal", "-shm"}) {
        struct stat facts = {};
        const std::string name = path + companion;
        // Where the database does without a companion, none can be displaced.
        if (stat(name.c_str(), &facts) != 0 && name != path) continue;
        m_places.push_back({name, facts.st_dev, facts.st_ino});
    }
}

std::string FilePlaces::Displaced() const {
    for (const Place& place : m_places) {
        struct stat facts = {};
        if (stat(place.name.c_str(), &facts) == 0) {
            if (facts.st_dev != place.device || facts.st_ino != place.inode) return place.name;
        } else if (errno == ENOENT || errno == ENOTDIR) {
            return place.name;
        }
        // Any other failure tells nothing about the place.
    }
    return {};
}

}  // namespace kzjournal
