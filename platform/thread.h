/// A thread of the process; the cross compiler's standard library has none.
#pragma once

#include <functional>
#include <memory>

namespace zrtmon {

/// Runs body on a separate thread; the destructor waits for its end. The body must not throw.
/// Construction throws std::system_error if no thread can be created.
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
