#include "simulator/xtea.h"

#include <cstddef>

namespace zrtmon::sim {

namespace {

constexpr uint32_t kDelta = 0x9E3779B9;
constexpr int kCycles = 32;
constexpr uint32_t kFinalSum = 0xC6EF3720; // kDelta * kCycles

uint32_t Load(const uint8_t* bytes)
{
    return bytes[0] | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[3]} << 24;
}

void Store(uint32_t word, uint8_t* bytes)
{
    for (int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<uint8_t>(word >> (8 * i));
    }
}

uint32_t KeyWord(const CipherKey& key, uint32_t index) { return Load(key.data() + size_t{4} * (index & 3)); }

uint32_t Mix(uint32_t word) { return ((word << 4) ^ (word >> 5)) + word; }

} // namespace

CipherBlock Encipher(const CipherBlock& plain, const CipherKey& key)
{
    uint32_t first = Load(plain.data());
    uint32_t second = Load(plain.data() + 4);
    uint32_t sum = 0;
    for (int cycle = 0; cycle < kCycles; ++cycle) {
        first += Mix(second) ^ (sum + KeyWord(key, sum));
        sum += kDelta;
        second += Mix(first) ^ (sum + KeyWord(key, sum >> 11));
    }
    CipherBlock cipher;
    Store(first, cipher.data());
    Store(second, cipher.data() + 4);
    return cipher;
}

CipherBlock Decipher(const CipherBlock& cipher, const CipherKey& key)
{
    uint32_t first = Load(cipher.data());
    uint32_t second = Load(cipher.data() + 4);
    for (uint32_t sum = kFinalSum; sum != 0;) {
        second -= Mix(first) ^ (sum + KeyWord(key, sum >> 11));
        sum -= kDelta;
        first -= Mix(second) ^ (sum + KeyWord(key, sum));
    }
    CipherBlock plain;
    Store(first, plain.data());
    Store(second, plain.data() + 4);
    return plain;
}

} // namespace zrtmon::sim
