#include "platform/faults.h"

#include <atomic>
#include <stdexcept>

namespace zrtmon {

namespace {

struct PointState {
    std::atomic<bool> armed = false;
    std::atomic<bool> fired = false;
    std::atomic<uint64_t> calls = 0;
    std::atomic<uint64_t> failAt = 0;
};

constexpr size_t kPointCount = 3;
constinit PointState g_points[kPointCount];
constinit thread_local unsigned t_faultFreeDepth = 0;

PointState& StateOf(FaultPoint point) { return g_points[static_cast<size_t>(point)]; }

} // namespace

CFaultPlan::CFaultPlan(FaultPoint point, uint64_t failAt) : m_point(point)
{
    PointState& state = StateOf(point);
    if (state.armed) {
        throw std::logic_error("CFaultPlan: this kind of call has a plan already");
    }
    state.fired = false;
    state.calls = 0;
    state.failAt = failAt;
    state.armed = true;
}

CFaultPlan::~CFaultPlan() { StateOf(m_point).armed = false; }

bool CFaultPlan::Fired() const { return StateOf(m_point).fired; }

uint64_t CFaultPlan::Calls() const { return StateOf(m_point).calls; }

CFaultExemption::CFaultExemption() { ++t_faultFreeDepth; }

CFaultExemption::~CFaultExemption() { --t_faultFreeDepth; }

bool CFaultExemption::IsActive() noexcept { return t_faultFreeDepth != 0; }

bool ShouldFail(FaultPoint point) noexcept
{
    PointState& state = StateOf(point);
    if (!state.armed.load(std::memory_order_relaxed) || CFaultExemption::IsActive()) {
        return false;
    }
    if (state.calls.fetch_add(1) != state.failAt) {
        return false;
    }
    state.fired = true;
    return true;
}

} // namespace zrtmon
