#pragma once

#include "monitor/port_record.h"
#include "platform/virtual_clock.h"
#include "tests/support/lower_port.h"

namespace zrtmon::test {

/// A port record above a scripted lower port, on a virtual clock: for tests below the entry points.
struct CUnitPort {
    explicit CUnitPort(DWORD startTick = 0)
        : clock(startTick), record(MakePortRecord(L"Port:", *CLowerPort::Table()))
    {
        record->lowerPort = lower.Handle();
    }

    CVirtualClock clock;
    CScriptedPort lower;
    PortRecordPtr record;
};

} // namespace zrtmon::test
