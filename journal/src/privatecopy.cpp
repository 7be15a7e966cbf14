#include "privatecopy.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "kzjournalerror.h"

namespace kzjournal {
namespace {

namespace fs = std::filesystem;

constexpr std::array kFiles{"", "-wal", "-journal"};
constexpr int kMaxTries = 5;

/// What changes with each file when somebody writes it.
std::string StateOf(const std::string& path) {
    std::string state;
    for (const char* const file : kFiles) {
        struct stat facts = {};
        if (stat((path + file).c_str(), &facts) == 0)
            state += std::to_string(facts.st_ino) + "," + std::to_string(facts.st_size) + "," +
                     std::to_string(facts.st_mtim.tv_sec) + "." +
                     std::to_string(facts.st_mtim.tv_nsec);
        state += ";";
    }
    return state;
}

}  // namespace

PrivateCopy::PrivateCopy(const std::string& path) {
    try {
        MakeFolder();
        std::string state;
        for (int i = 0; state != StateOf(path); ++i) {
            if (i == kMaxTries)
                throw Error("cannot read " + path + ": it changes while it is copied");
            state = StateOf(path);
            CopyFiles(path);
        }
    } catch (const fs::filesystem_error& error) {
        const std::string folder = m_folder;
        Remove();
        throw Error("cannot read " + path + ": it must be repaired, and it cannot be copied to " +
                    folder + " for that: " + error.code().message());
    } catch (const Error&) {
        Remove();
        throw;
    }
}

PrivateCopy::~PrivateCopy() {
    Remove();
}

void PrivateCopy::Remove() {
    if (m_folder.empty()) return;
    std::error_code ignored;
    fs::remove_all(m_folder, ignored);
    // Another process may make one of this name from now on.
    m_folder.clear();
}

void PrivateCopy::MakeFolder() {
    m_folder = (fs::temp_directory_path() / "kzjournal.XXXXXX").string();
    if (mkdtemp(m_folder.data()) == nullptr)
        throw fs::filesystem_error("mkdtemp", std::error_code(errno, std::generic_category()));
}

void PrivateCopy::CopyFiles(const std::string& path) const {
    for (const char* const file : kFiles) {
        const std::string copy = Path() + file;
        fs::remove(copy);
        if (*file != '\0' && !fs::exists(path + file)) continue;
        fs::copy_file(path + file, copy);
        fs::permissions(copy, fs::perms::owner_read | fs::perms::owner_write);
    }
}

}  // namespace kzjournal
