/// A thread of the process; the cross compiler's standard library has none.
#pragma once

#include <functional>
#include <memory>

namespace zrtmon {

/// Runs body on a thread of its own; the destructor waits for its end. The body must not throw.
/// Construction throws std::system_error when no thread can be had.
class CThread {
public:
    explicit CThread(std::function<void()> body);
    ~CThread();
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace zrtmon
