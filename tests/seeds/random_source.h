/// Numbers that follow from a seed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>

namespace zrtmon::simulation {

/// Everything that a run leaves to chance is drawn here, so that the seed decides it.
class CRandomSource {
public:
    explicit CRandomSource(uint64_t seed) : m_engine(seed) {}
    uint64_t Word() { return m_engine(); }
    uint32_t Between(uint32_t low, uint32_t high)
    {
        return low + static_cast<uint32_t>(m_engine() % (uint64_t{high} - low + 1));
    }
    bool OneIn(uint32_t n) { return m_engine() % n == 0; }
    template <class Row, size_t N>
    const Row& Pick(const Row (&rows)[N])
    {
        return rows[m_engine() % N];
    }

private:
    std::mt19937_64 m_engine;
};

} // namespace zrtmon::simulation
