#include "link/print_monitor_zrt.h"

#include <gtest/gtest.h>

#include <list>
#include <set>
#include <vector>

#include "platform/virtual_clock.h"
#include "requests/data.h"

namespace zrtmon {
namespace {

TEST(PrintMonitor, ThreadsThatAskAtOnceGetOneObject)
{
    VirtualClock clock;
    CPrintMonitorZRT model;
    std::vector<CData*> seen(8);
    {
        std::list<VirtualClock::Thread> threads;
        for (CData*& slot : seen) {
            threads.emplace_back([&model, &slot] { slot = model.GetRequest(PrinterError); });
        }
    }
    EXPECT_NE(nullptr, seen.front());
    seen.push_back(model.GetRequestByName(L"printerERROR/ignored"));
    EXPECT_EQ(1u, std::set<CData*>(seen.begin(), seen.end()).size());
}

} // namespace
} // namespace zrtmon
