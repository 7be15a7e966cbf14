#include "block.h"

#include <zstd.h>

#include <algorithm>

namespace kzjournal {
namespace {

constexpr char kRaw = 0;
constexpr char kCompressed = 1;

/// Higher levels gain a twentieth at most, and take a multiple of the time.
constexpr int kLevel = 1;

/// A block above `kMaxSharedBlockBytes` has at most so many times its own bytes, so that a small
/// file cannot make a reader allocate without end.
constexpr std::size_t kMaxRatio = 1000;

bool IsWithinRatio(std::size_t bytes, std::size_t blockBytes) {
    return bytes <= kMaxSharedBlockBytes || bytes / kMaxRatio <= blockBytes;
}

std::optional<std::string> Decompress(std::string_view frame, std::size_t maxBytes,
                                      StepLimit* limit) {
    const unsigned long long bytes = ZSTD_getFrameContentSize(frame.data(), frame.size());
    // The marks of an unknown or wrong size are the largest numbers.
    if (bytes > maxBytes || !IsWithinRatio(static_cast<std::size_t>(bytes), frame.size()))
        return std::nullopt;
    // One frame and nothing behind it.
    if (ZSTD_findFrameCompressedSize(frame.data(), frame.size()) != frame.size())
        return std::nullopt;
    if (limit != nullptr) limit->SpendOnBytes(static_cast<std::size_t>(bytes));
    std::string content(static_cast<std::size_t>(bytes), '\0');
    const std::size_t result =
        ZSTD_decompress(content.data(), content.size(), frame.data(), frame.size());
    if (result != content.size()) return std::nullopt;
    return content;
}

}  // namespace

void BlockPacker::Release::operator()(ZSTD_CCtx_s* context) const {
    ZSTD_freeCCtx(context);
}

BlockPacker::BlockPacker() : m_context(ZSTD_createCCtx()) {}

BlockPacker::~BlockPacker() = default;

const std::string& BlockPacker::Pack(std::string_view bytes) {
    if (!Compress(bytes)) m_block.assign(1, kRaw).append(bytes);
    return m_block;
}

/// Returns false where the block would not be smaller or could not be read.
bool BlockPacker::Compress(std::string_view bytes) {
    if (m_context == nullptr) return false;
    m_block.resize(1 + ZSTD_compressBound(bytes.size()));
    m_block[0] = kCompressed;
    const std::size_t size =
        ZSTD_compressCCtx(m_context.get(), m_block.data() + 1, m_block.size() - 1, bytes.data(),
                          bytes.size(), kLevel);
    if (ZSTD_isError(size) != 0 || size >= bytes.size() || !IsWithinRatio(bytes.size(), size))
        return false;
    m_block.resize(1 + size);
    return true;
}

std::optional<std::string> UnpackBlock(std::string_view block, std::size_t maxBytes,
                                       StepLimit* limit) {
    if (block.empty()) return std::nullopt;
    const char form = block.front();
    block.remove_prefix(1);
    if (form == kCompressed) return Decompress(block, maxBytes, limit);
    if (form != kRaw || block.size() > maxBytes) return std::nullopt;
    return std::string(block);
}

}  // namespace kzjournal
