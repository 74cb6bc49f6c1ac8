// Decoding of the configuration header: the chain of "KV" frames in the first block. Works on bytes only.
#pragma once

#include <cstdint>
#include <span>

#include "reader/decoding/recording_format.h"
#include "reader/decoding/recording_model.h"

namespace vortena {

/// The bytes that any one frame can occupy, whatever length it claims.
using FrameBytes = std::span<const std::uint8_t, kMaxFrameSize>;
using BlockBytes = std::span<const std::uint8_t, kBlockSize>;

/// Decodes the frame at the start of `frame` into `config`.
/// Returns the frame's size in bytes, or -1 when neither magic byte is right. `*known` (true on entry)
/// becomes false for a frame that the reader does not understand. A known frame whose payload is too short
/// sets `headerError` and stores nothing.
int _readHeaderFrame(kiv_Config* config, bool* known, FrameBytes frame);

/// The same of a frame that ends where its length says: no byte behind its trailer is read, and of what does not open
/// like a frame only the first two.
int _readHeaderFrame(kiv_Config* config, bool* known, const std::uint8_t* frame);

/// Decodes the header in a block into a freshly constructed `config`. Frames may claim to run over the block;
/// what lies beyond it reads as zero. Returns false when the block holds no frame opening at positions 0 to
/// 507.
bool _readConfig(kiv_Config* config, BlockBytes block);

/// The same of kBlockSize bytes from `block` on.
bool _readConfig(kiv_Config* config, const std::uint8_t* block);

}  // namespace vortena
