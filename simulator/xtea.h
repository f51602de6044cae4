/// The block cipher of the printer's password check, on its side of the wire.
#pragma once

#include <array>
#include <cstdint>

namespace zrtmon::sim {

using CipherBlock = std::array<uint8_t, 8>;
using CipherKey = std::array<uint8_t, 16>;

/// XTEA with 32 cycles; words of key and block are little-endian.
CipherBlock Encipher(const CipherBlock& plain, const CipherKey& key);
CipherBlock Decipher(const CipherBlock& cipher, const CipherKey& key);

} // namespace zrtmon::sim
