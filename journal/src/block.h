#ifndef KZJOURNALBLOCK_H
#define KZJOURNALBLOCK_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "steplimit.h"

struct ZSTD_CCtx_s;

namespace kzjournal {

/// Writers begin a new block before it would have more bytes than this, unpacked. One that has more
/// holds a single value.
inline constexpr std::size_t kMaxSharedBlockBytes = std::size_t{1} << 20;

/// Makes blocks: bytes in compressed form, or as they are where that is of no use. Compatible.
class BlockPacker {
public:
    BlockPacker();
    ~BlockPacker();
    BlockPacker(const BlockPacker&) = delete;
    BlockPacker& operator=(const BlockPacker&) = delete;

    /// Valid until the next call.
    const std::string& Pack(std::string_view bytes);

private:
    bool Compress(std::string_view bytes);

    struct Release {
        void operator()(ZSTD_CCtx_s* context) const;
    };

    std::unique_ptr<ZSTD_CCtx_s, Release> m_context;
    std::string m_block;
};

/// The bytes of which `BlockPacker` made the block; no value if it made no such block or they are
/// more than `maxBytes`. Allocates no more than the block can be worth, and spends steps of
/// `limit`, unless it is null, before.
std::optional<std::string> UnpackBlock(std::string_view block, std::size_t maxBytes,
                                       StepLimit* limit);

}  // namespace kzjournal

#endif
