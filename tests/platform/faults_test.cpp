#include <functional>

#include <gtest/gtest.h>

#include "platform/faults.h"
#include "platform/spooler_admin.h"
#include "platform/sync.h"

namespace {

using namespace zrtmon;

constexpr const wchar_t* kPrinter = L"Faulty";

LPWSTR Name(const wchar_t* text) { return const_cast<LPWSTR>(text); }

/// Of a service that answers its error.
BOOL ToResult(DWORD error)
{
    SetLastError(error);
    return error == ERROR_SUCCESS;
}

CPrinterHandle OpenFaulty()
{
    PRINTER_DEFAULTSW defaults = {nullptr, nullptr, PRINTER_ACCESS_ADMINISTER};
    HANDLE printer = nullptr;
    OpenPrinterW(Name(kPrinter), &printer, &defaults);
    return CPrinterHandle(printer);
}

TEST(Faults, FailTheChosenCallAndNoOther)
{
    spooler::CreatePrinter(kPrinter);
    const DWORD job = spooler::SubmitJob(kPrinter, L"document");
    const CPrinterHandle opened = OpenFaulty();
    HANDLE const printer = opened.Get();
    alignas(JOB_INFO_1W) BYTE data[1024] = {};
    DWORD needed = 0;
    DWORD returned = 0;
    const auto store = [] {
        const CFaultExemption preparation;
        spooler::StoreValue(kPrinter, L"v", REG_SZ, "text");
    };
    const std::pair<FaultPoint, std::function<BOOL()>> cases[] = {
        {FaultPoint::HandleCreation, [] { return !!CHandle(CreateEventW(nullptr, TRUE, TRUE, nullptr)); }},
        {FaultPoint::HandleCreation, [] { return !!CHandle(CreateMutexW(nullptr, TRUE, nullptr)); }},
        {FaultPoint::Allocation,
         [] {
             HGLOBAL const block = GlobalAlloc(GPTR, 8);
             GlobalFree(block);
             return block != nullptr;
         }},
        {FaultPoint::SpoolerCall, [] { return !!OpenFaulty(); }},
        {FaultPoint::SpoolerCall,
         [&] { return store(), ToResult(GetPrinterDataW(printer, Name(L"v"), nullptr, data, 9, &needed)); }},
        {FaultPoint::SpoolerCall,
         [&] { return ToResult(SetPrinterDataW(printer, Name(L"v"), REG_BINARY, data, 9)); }},
        {FaultPoint::SpoolerCall, [&] { return store(), ToResult(DeletePrinterDataW(printer, Name(L"v"))); }},
        {FaultPoint::SpoolerCall,
         [&] { return EnumJobsW(printer, 0, 9, 1, data, sizeof data, &needed, &returned); }},
        {FaultPoint::SpoolerCall, [&] { return SetJobW(printer, job, 0, nullptr, JOB_CONTROL_PAUSE); }}};
    for (const auto& [point, makeCall] : cases) {
        const CFaultPlan plan(point, 2);
        const DWORD planned = point == FaultPoint::SpoolerCall ? ERROR_GEN_FAILURE : ERROR_NOT_ENOUGH_MEMORY;
        for (unsigned call = 0; call < 4; ++call) {
            EXPECT_EQ(call > 2, plan.Fired());
            const DWORD error = makeCall() ? ERROR_SUCCESS : GetLastError();
            EXPECT_EQ(call == 2 ? planned : ERROR_SUCCESS, error) << "call " << call;
        }
        EXPECT_EQ(4u, plan.Calls());
    }
    spooler::RemovePrinter(kPrinter);
}

} // namespace
