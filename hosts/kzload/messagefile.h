#ifndef KZLOAD_MESSAGEFILE_H
#define KZLOAD_MESSAGEFILE_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "kzjournalerror.h"

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

    // Each returns what went wrong.
    [[nodiscard]] std::optional<kzjournal::Error> Open(const std::string& path);
    /// Does nothing where no file is open.
    [[nodiscard]] std::optional<kzjournal::Error> Append(std::string_view message);
    [[nodiscard]] std::optional<kzjournal::Error> Close();

private:
    kzjournal::Error Failed(const char* what, int error);

    std::string m_path;
    int m_file = -1;
};

}  // namespace kzload

#endif
