#include "messagefile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "files/newfile.h"

namespace kzload {
namespace {

constexpr mode_t kReadableByAll = 0644;

std::string Frame(std::string_view message) {
    std::string frame = std::to_string(message.size());
    frame += ':';
    frame += message;
    frame += '\n';
    return frame;
}

/// Takes back the part of a frame that was written, where the file can be cut: a pipe or a device
/// cannot, and nothing is left to do there.
void CutTo(int file, off_t end) {
    if (end < 0 || ftruncate(file, end) != 0) return;
}

}  // namespace

MessageFile::~MessageFile() {
    if (m_file >= 0) close(m_file);
}

std::optional<kzjournal::Error> MessageFile::Open(const std::string& path) {
    m_path = path;
    m_file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, kReadableByAll);
    if (m_file < 0) return Failed("open", errno);
    return std::nullopt;
}

std::optional<kzjournal::Error> MessageFile::Append(std::string_view message) {
    if (m_file < 0) return std::nullopt;
    const off_t end = lseek(m_file, 0, SEEK_END);
    const int error = kzfiles::WriteAll(m_file, Frame(message));
    if (error == 0) return std::nullopt;
    CutTo(m_file, end);
    return Failed("write", error);
}

std::optional<kzjournal::Error> MessageFile::Close() {
    if (m_file < 0) return std::nullopt;
    if (close(std::exchange(m_file, -1)) != 0) return Failed("close", errno);
    return std::nullopt;
}

kzjournal::Error MessageFile::Failed(const char* what, int error) {
    if (m_file >= 0) close(std::exchange(m_file, -1));
    return kzjournal::Error(std::string("cannot ") + what + " " + m_path + ": " +
                            std::strerror(error));
}

}  // namespace kzload
