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
    const CPrinterHandle printer = OpenFaulty();
    alignas(JOB_INFO_1W) BYTE data[1024] = {};
    DWORD needed = 0;
    DWORD returned = 0;
    const auto store = [] {
        const FaultFree preparation;
        spooler::StoreValue(kPrinter, L"v", REG_SZ, "text");
        return L"v";
    };
    const struct {
        FaultPoint point;
        DWORD error;
        std::function<BOOL()> call;
    } cases[] = {
        {FaultPoint::HandleCreation, 8, [] { return !!CHandle(CreateEventW(nullptr, TRUE, TRUE, nullptr)); }},
        {FaultPoint::HandleCreation, 8, [] { return !!CHandle(CreateMutexW(nullptr, TRUE, nullptr)); }},
        {FaultPoint::Allocation, 8,
         [] {
             HGLOBAL const block = GlobalAlloc(GPTR, 8);
             GlobalFree(block);
             return block != nullptr;
         }},
        {FaultPoint::SpoolerCall, 31, [] { return !!OpenFaulty(); }},
        {FaultPoint::SpoolerCall, 31,
         [&] { return ToResult(GetPrinterDataW(printer.Get(), Name(store()), nullptr, data, 9, &needed)); }},
        {FaultPoint::SpoolerCall, 31,
         [&] { return ToResult(SetPrinterDataW(printer.Get(), Name(L"v"), REG_BINARY, data, 9)); }},
        {FaultPoint::SpoolerCall, 31,
         [&] { return ToResult(DeletePrinterDataW(printer.Get(), Name(store()))); }},
        {FaultPoint::SpoolerCall, 31,
         [&] { return EnumJobsW(printer.Get(), 0, 9, 1, data, sizeof data, &needed, &returned); }},
        {FaultPoint::SpoolerCall, 31,
         [&] { return SetJobW(printer.Get(), job, 0, nullptr, JOB_CONTROL_PAUSE); }}};
    for (const auto& row : cases) {
        SCOPED_TRACE(&row - cases);
        const FaultPlan plan(row.point, 2);
        for (unsigned call = 0; call < 4; ++call) {
            EXPECT_EQ(call > 2, plan.Fired());
            const DWORD error = row.call() ? ERROR_SUCCESS : GetLastError();
            EXPECT_EQ(call == 2 ? row.error : ERROR_SUCCESS, error) << "call " << call;
        }
        EXPECT_EQ(4u, plan.Calls());
    }
    spooler::RemovePrinter(kPrinter);
}

} // namespace
