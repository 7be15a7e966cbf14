#ifndef KZ_TESTS_TEMPORARYFOLDER_H
#define KZ_TESTS_TEMPORARYFOLDER_H

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

/// A folder that is gone with all that is in it when this is destroyed.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string path = (std::filesystem::temp_directory_path() / "journal.XXXXXX").string();
        if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary folder");
        m_path = path;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string Path(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

#endif
