#include "tests/support/test_queues.h"

namespace zrtmon::test {

std::span<const CTestQueueOptions> TestQueues()
{
    using Options = CTestQueueOptions;
    static const Options queues[] = {
        {.name = L"Card Printer", .port = "sim:cards=250,serial=SN77,card-ms=100"},
        {.name = L"Strict Printer",
         .port = "sim:cards=250,serial=SN78,card-ms=100",
         .refused = Options::Refused::MonitorError},
        {.name = L"Live Printer", .libraryReads = Options::LibraryReads::LivePrinter},
        {.name = L"Guarded Printer", .port = "sim:cards=7", .mayAdminister = false},
        {.name = L"One-Way Printer", .isBidirectional = false},
        {.name = L"Paper Printer", .monitor = L""},
        {.name = L"Locked Printer",
         .port = "sim:protected=1,admin-password=boss,user-password=clerk,serial=AB123456789,card-ms=100"},
        {.name = L"Locked Strict Printer",
         .port = "sim:protected=1,admin-password=boss,user-password=clerk,serial=AB123456788,card-ms=100",
         .refused = Options::Refused::MonitorError},
        {.name = L"Broken Printer", .port = "sim:error=83"},
    };
    return queues;
}

} // namespace zrtmon::test
