#pragma once

#include <functional>

namespace zrtmon::backend {

/// Runs work in a process of its own and returns its exit status, or onCrash if a signal ended it. SIGTERM is
/// passed on, and blocked in work.
///
/// CUPS takes a job whose backend a signal has ended for a completed one. With two processes the job survives
/// either: this one says that it is held, and work goes on by itself. forget is called here once the other
/// process has its copy of everything: for what only work needs.
int Supervise(const std::function<int()>& work, const std::function<void()>& forget, int onCrash);

} // namespace zrtmon::backend
