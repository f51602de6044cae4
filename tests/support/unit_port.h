#pragma once

#include "monitor/port_record.h"
#include "platform/virtual_clock.h"
#include "tests/support/lower_port.h"

namespace zrtmon::test {

/// A port record above a scripted lower port, on a virtual clock: for tests below the entry points.
struct UnitPort {
    explicit UnitPort(DWORD startTick = 0)
        : clock(startTick), record(MakePortRecord(L"Port:", *LowerPort::Table()))
    {
        record->lowerPort = lower.Handle();
    }

    VirtualClock clock;
    ScriptedPort lower;
    PortRecordPtr record;
};

} // namespace zrtmon::test
