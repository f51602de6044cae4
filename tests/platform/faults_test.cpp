#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/faults.h"
#include "platform/spooler_admin.h"
#include "platform/sync.h"

namespace {

using namespace zrtmon;

constexpr const wchar_t* kPrinter = L"Faulty";
constexpr const wchar_t* kValue = L"Value";

DWORD ResultOf(BOOL ok) { return ok ? ERROR_SUCCESS : GetLastError(); }

LPWSTR Name(const wchar_t* text) { return const_cast<LPWSTR>(text); }

CPrinterHandle OpenFaulty(ACCESS_MASK access = PRINTER_ACCESS_ADMINISTER)
{
    PRINTER_DEFAULTSW defaults = {nullptr, nullptr, access};
    HANDLE printer = nullptr;
    OpenPrinterW(Name(kPrinter), &printer, &defaults);
    return CPrinterHandle(printer);
}

struct FaultCase {
    const char* name;
    FaultPoint point;
    DWORD error;
    std::function<DWORD(HANDLE printer)> call; // answers the error, 0 for success
};

class FaultPoints : public testing::TestWithParam<FaultCase> {
protected:
    void SetUp() override
    {
        spooler::CreatePrinter(kPrinter);
        spooler::StoreValue(kPrinter, kValue, REG_SZ, "text");
        spooler::SubmitJob(kPrinter, L"document");
    }
    void TearDown() override { spooler::RemovePrinter(kPrinter); }
};

TEST_P(FaultPoints, FailTheChosenCallAndNoOther)
{
    const CPrinterHandle printer = OpenFaulty();
    ASSERT_TRUE(printer);
    std::vector<DWORD> results;
    {
        const FaultPlan plan(GetParam().point, 2);
        for (int call = 0; call < 4; ++call) {
            EXPECT_EQ(call > 2, plan.Fired());
            const DWORD result = GetParam().call(printer.Get());
            const FaultFree bookkeeping;
            results.push_back(result);
        }
        EXPECT_EQ(4u, plan.Calls());
    }
    EXPECT_EQ((std::vector<DWORD>{0, 0, GetParam().error, 0}), results);
    EXPECT_EQ(ERROR_SUCCESS, GetParam().call(printer.Get()));
}

DWORD CallCreateEvent(HANDLE) { return ResultOf(!!CHandle(CreateEventW(nullptr, TRUE, TRUE, nullptr))); }

DWORD CallCreateMutex(HANDLE) { return ResultOf(!!CHandle(CreateMutexW(nullptr, TRUE, nullptr))); }

DWORD CallGlobalAlloc(HANDLE)
{
    HGLOBAL const block = GlobalAlloc(GPTR, 8);
    const DWORD result = ResultOf(block != nullptr);
    GlobalFree(block);
    return result;
}

DWORD CallOpenPrinter(HANDLE) { return ResultOf(!!OpenFaulty(PRINTER_ACCESS_USE)); }

DWORD CallGetPrinterData(HANDLE printer)
{
    BYTE data[16];
    DWORD needed = 0;
    return GetPrinterDataW(printer, Name(kValue), nullptr, data, sizeof data, &needed);
}

DWORD CallSetPrinterData(HANDLE printer)
{
    BYTE data[] = {1, 2, 3};
    return SetPrinterDataW(printer, Name(kValue), REG_BINARY, data, sizeof data);
}

DWORD CallDeletePrinterData(HANDLE printer)
{
    {
        const FaultFree preparation;
        spooler::StoreValue(kPrinter, L"Passing", REG_SZ, "text");
    }
    return DeletePrinterDataW(printer, Name(L"Passing"));
}

DWORD CallEnumJobs(HANDLE printer)
{
    alignas(JOB_INFO_1W) BYTE jobs[1024];
    DWORD needed = 0;
    DWORD returned = 0;
    return ResultOf(EnumJobsW(printer, 0, 10, 1, jobs, sizeof jobs, &needed, &returned));
}

DWORD CallSetJob(HANDLE printer)
{
    DWORD job = 0;
    {
        const FaultFree preparation;
        job = spooler::SubmitJob(kPrinter, L"document");
    }
    return ResultOf(SetJobW(printer, job, 0, nullptr, JOB_CONTROL_PAUSE));
}

INSTANTIATE_TEST_SUITE_P(
    Calls, FaultPoints,
    testing::Values(FaultCase{"CreateEvent", FaultPoint::HandleCreation, 8, CallCreateEvent},
                    FaultCase{"CreateMutex", FaultPoint::HandleCreation, 8, CallCreateMutex},
                    FaultCase{"GlobalAlloc", FaultPoint::Allocation, 8, CallGlobalAlloc},
                    FaultCase{"OpenPrinter", FaultPoint::SpoolerCall, 31, CallOpenPrinter},
                    FaultCase{"GetPrinterData", FaultPoint::SpoolerCall, 31, CallGetPrinterData},
                    FaultCase{"SetPrinterData", FaultPoint::SpoolerCall, 31, CallSetPrinterData},
                    FaultCase{"DeletePrinterData", FaultPoint::SpoolerCall, 31, CallDeletePrinterData},
                    FaultCase{"EnumJobs", FaultPoint::SpoolerCall, 31, CallEnumJobs},
                    FaultCase{"SetJob", FaultPoint::SpoolerCall, 31, CallSetJob}),
    [](const auto& tested) { return tested.param.name; });

} // namespace
