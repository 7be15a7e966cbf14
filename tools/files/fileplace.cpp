#include "files/fileplace.h"

#include <filesystem>

namespace kzfiles {
namespace {

namespace fs = std::filesystem;

/// Linux follows no more.
constexpr int kMaxLinks = 40;

}  // namespace

std::optional<FilePlace> PlaceOf(const std::string& path) {
    struct stat facts = {};
    if (stat(path.c_str(), &facts) == 0) return FilePlace{facts.st_dev, facts.st_ino, {}};
    const fs::path target(BehindLinks(path));
    const std::string folder = target.has_parent_path() ? target.parent_path().string() : ".";
    if (!target.has_filename() || stat(folder.c_str(), &facts) != 0) return std::nullopt;
    return FilePlace{facts.st_dev, facts.st_ino, target.filename().string()};
}

std::optional<FilePlace> PlaceOf(int descriptor) {
    struct stat facts = {};
    if (fstat(descriptor, &facts) != 0) return std::nullopt;
    return FilePlace{facts.st_dev, facts.st_ino, {}};
}

std::string BehindLinks(const std::string& path) {
    std::error_code error;
    const fs::path real = fs::canonical(path, error);
    if (!error) return real.string();
    fs::path target(path);
    for (int links = 0; links < kMaxLinks; ++links) {
        const fs::path next = fs::read_symlink(target, error);
        if (error) break;
        // An absolute path replaces the folder.
        target = target.parent_path() / next;
    }
    return target.string();
}

}  // namespace kzfiles
