// Reading of recording files: streams in, configuration and series out.
#pragma once

#include <cstdint>
#include <fstream>
#include <istream>

#include "reader/data_packages.h"
#include "reader/recording_model.h"

namespace vortena {

/// Reads the header of the recording at `path` (UTF-8) into a freshly constructed `config`. False when the
/// file cannot be read or holds no header. A file shorter than a block still yields its header: what is
/// missing reads as zero.
bool kiv_readConfig(kiv_Config* config, const char* path);

/// The same from an open binary stream at its start, which is closed before returning.
bool _kiv_readConfig(kiv_Config* config, std::ifstream& stream);

/// Reads the whole recording at `path` (UTF-8) into a freshly constructed `config` and an empty map. False, with the
/// map untouched, when the file cannot be opened, is shorter than a block or holds no header. Further on, the first
/// block that cannot be read, tried once more by itself, ends the reading; what was decoded is kept, and that is no
/// failure.
bool kiv_read(kiv_Config* config, SensorMap* sensors, const char* path);

/// The same from an open binary stream at its start. The stream is closed before returning, unless its first
/// block could not be read.
bool _kiv_read(kiv_Config* config, SensorMap* sensors, std::ifstream& stream);

/// 256 KiB: large enough for the system's calls not to count, small enough for the cache.
inline constexpr std::size_t kPieceBlocks = 512;

/// Feeds `block_count` blocks to `decoder`, from the start of the stream up to the first block that cannot be
/// read whole. `piece_blocks` are asked for at a time, one at least.
void read_packages(std::istream& stream, std::uint64_t block_count, PackageDecoder* decoder,
                   std::size_t piece_blocks = kPieceBlocks);

}  // namespace vortena
