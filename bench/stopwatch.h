#pragma once

#include <chrono>

namespace zrtmon::bench {

/// Wall time since construction.
class CStopwatch {
public:
    double Seconds() const
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    }

private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

} // namespace zrtmon::bench
