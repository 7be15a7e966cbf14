#ifndef KZLOAD_MESSAGEFILE_H
#define KZLOAD_MESSAGEFILE_H

#include <sys/types.h>

#include <string>
#include <string_view>

namespace kzload {

/// The file that the messages of the slices are appended to; its format is described in
/// docs/messages-file.md. After the first failure it writes nothing more, so that what is there
/// stays readable.
///
/// Compatible: opened, appended to and closed by one thread at a time.
class MessageFile {
public:
    MessageFile() = default;
    ~MessageFile();
    MessageFile(const MessageFile&) = delete;
    MessageFile& operator=(const MessageFile&) = delete;

    // Each returns what went wrong, as a line for the user, or an empty text.
    std::string Open(const std::string& path);
    /// Does nothing where no file is open.
    std::string Append(std::string_view message);
    std::string Close();

private:
    std::string Failed(const char* what, int error);

    std::string m_path;
    int m_file = -1;
};

}  // namespace kzload

#endif
