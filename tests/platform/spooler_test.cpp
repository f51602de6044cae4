#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/spooler_admin.h"
#include "platform/sync.h"
#include "platform/virtual_clock.h"

namespace {

using namespace zrtmon;

constexpr const wchar_t* kPrinter = L"Cards";
constexpr ACCESS_MASK kUse = PRINTER_ACCESS_USE;
constexpr ACCESS_MASK kAdminister = PRINTER_ACCESS_ADMINISTER;
constexpr ACCESS_MASK kAllAccess = 0xF0000 | kUse | kAdminister; // with the rights that every object has

LPWSTR Name(const wchar_t* text) { return const_cast<LPWSTR>(text); }

class Spooler : public testing::Test {
protected:
    Spooler() { spooler::CreatePrinter(kPrinter); }
    ~Spooler() override
    {
        spooler::RemovePrinter(kPrinter);
        EXPECT_EQ(m_openBefore, spooler::OpenPrinterCount());
    }

    static CPrinterHandle Open(ACCESS_MASK access = kAdminister)
    {
        PRINTER_DEFAULTSW defaults = {nullptr, nullptr, access};
        HANDLE printer = nullptr;
        EXPECT_TRUE(OpenPrinterW(Name(kPrinter), &printer, &defaults));
        return CPrinterHandle(printer);
    }

    static DWORD Set(HANDLE printer, const wchar_t* name, DWORD type, std::string bytes)
    {
        return SetPrinterDataW(printer, Name(name), type, reinterpret_cast<LPBYTE>(bytes.data()),
                               static_cast<DWORD>(bytes.size()));
    }

private:
    size_t m_openBefore = spooler::OpenPrinterCount();
};

// ---------------------------------------------------------------------------------------------
// Printers and handles

TEST_F(Spooler, OpensByNameWithinTheGrantedAccess)
{
    spooler::CreatePrinter(L"Guest", kUse);
    const struct {
        const wchar_t* name;
        ACCESS_MASK access; // 0: without defaults
        DWORD error;
    } cases[] = {{L"Cards", 0, 0},          {L"cARDS", kUse, 0},   {L"Cards", kAllAccess, 0},
                 {L"Guest", kUse, 0},       {L"Guest", 0, 0},      {L"Guest", kAdminister, 5},
                 {L"Guest", kAllAccess, 5}, {L"Card", kUse, 1801}, {nullptr, kUse, 87}};
    for (const auto& row : cases) {
        SCOPED_TRACE(&row - cases);
        PRINTER_DEFAULTSW defaults = {nullptr, nullptr, row.access};
        HANDLE printer = nullptr;
        SetLastError(ERROR_SUCCESS);
        OpenPrinterW(Name(row.name), &printer, row.access ? &defaults : nullptr);
        EXPECT_EQ(row.error, GetLastError());
        EXPECT_EQ(row.error == 0, ClosePrinter(printer) != FALSE);
    }
    spooler::RemovePrinter(L"GUEST");
}

TEST_F(Spooler, RefusesHandlesThatAreNoPrinters)
{
    BYTE data[8] = {};
    DWORD needed = 0;
    DWORD returned = 0;
    HANDLE const stale = Open().Release();
    EXPECT_TRUE(ClosePrinter(stale));
    const CHandle event(CreateEventW(nullptr, TRUE, TRUE, nullptr));
    HANDLE const ofRemoved = Open().Release();
    spooler::CreatePrinter(kPrinter); // another one of that name
    for (HANDLE const handle : {HANDLE{}, stale, event.Get(), ofRemoved}) {
        EXPECT_EQ(6u, GetPrinterDataW(handle, Name(L"v"), nullptr, data, 8, &needed));
        EXPECT_EQ(6u, SetPrinterDataW(handle, Name(L"v"), REG_BINARY, data, 8));
        EXPECT_EQ(6u, DeletePrinterDataW(handle, Name(L"v")));
        EXPECT_FALSE(EnumJobsW(handle, 0, 1, 1, nullptr, 0, &needed, &returned));
        EXPECT_FALSE(SetJobW(handle, 1, 0, nullptr, 0));
        EXPECT_EQ(6u, GetLastError());
        EXPECT_EQ(handle == ofRemoved, ClosePrinter(handle) != FALSE);
    }
    const CPrinterHandle printer = Open();
    EXPECT_FALSE(CloseHandle(printer.Get()));
}

// ---------------------------------------------------------------------------------------------
// Values

TEST_F(Spooler, StoresValuesUnderNamesOfAnyCase)
{
    const CPrinterHandle printer = Open();
    EXPECT_EQ(0u, Set(printer.Get(), L"Status", REG_BINARY, std::string("a\0b", 3)));
    EXPECT_EQ(std::string("a\0b", 3), spooler::LoadValue(L"CARDS", L"sTATUS"));
    EXPECT_EQ(0u, Set(printer.Get(), L"STATUS", REG_DWORD, "four"));
    EXPECT_EQ("four", spooler::LoadValue(kPrinter, L"Status"));
    EXPECT_EQ(0u, Set(printer.Get(), L"Empty", REG_SZ, ""));
    EXPECT_EQ("", spooler::LoadValue(kPrinter, L"Empty"));
    EXPECT_EQ(0u, DeletePrinterDataW(printer.Get(), Name(L"status")));
    EXPECT_EQ(2u, DeletePrinterDataW(printer.Get(), Name(L"status")));
    EXPECT_EQ(std::nullopt, spooler::LoadValue(kPrinter, L"Status"));
    EXPECT_EQ(std::nullopt, spooler::LoadValue(L"Nobody", L"Status"));
}

TEST_F(Spooler, ReadsAValueOnlyIntoEnoughRoom)
{
    spooler::StoreValue(kPrinter, L"Long", REG_BINARY, "12345678");
    spooler::StoreValue(kPrinter, L"Empty", REG_SZ, "");
    const CPrinterHandle printer = Open(kUse);
    const struct {
        const wchar_t* name;
        bool buffer;
        DWORD size;
        DWORD result;
        DWORD needed;
        DWORD type;
        std::string bytes;
    } cases[] = {{L"Long", true, 10, 0, 8, REG_BINARY, "12345678##"},
                 {L"Long", true, 8, 0, 8, REG_BINARY, "12345678##"},
                 {L"Long", true, 7, 234, 8, REG_BINARY, "##########"},
                 {L"Long", false, 0, 234, 8, REG_BINARY, "##########"},
                 {L"Empty", false, 0, 0, 0, REG_SZ, "##########"},
                 {L"None", true, 10, 2, 99, 98, "##########"},
                 {nullptr, true, 10, 87, 99, 98, "##########"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(&row - cases);
        std::string buffer(10, '#');
        DWORD needed = 99;
        DWORD type = 98;
        auto* const data = row.buffer ? reinterpret_cast<LPBYTE>(buffer.data()) : nullptr;
        EXPECT_EQ(row.result, GetPrinterDataW(printer.Get(), Name(row.name), &type, data, row.size, &needed));
        EXPECT_EQ(row.needed, needed);
        EXPECT_EQ(row.type, type);
        EXPECT_EQ(row.bytes, buffer);
    }
    EXPECT_EQ(87u, GetPrinterDataW(printer.Get(), Name(L"Long"), nullptr, nullptr, 0, nullptr));
}

TEST_F(Spooler, ChangesValuesForAdministratorsOnly)
{
    spooler::StoreValue(kPrinter, L"Kept", REG_SZ, "old");
    const CPrinterHandle user = Open(kUse);
    EXPECT_EQ(5u, Set(user.Get(), L"Kept", REG_SZ, "new"));
    EXPECT_EQ(5u, DeletePrinterDataW(user.Get(), Name(L"Kept")));
    EXPECT_EQ("old", spooler::LoadValue(kPrinter, L"Kept"));
    const CPrinterHandle administrator = Open(kAllAccess);
    EXPECT_EQ(0u, Set(administrator.Get(), L"Kept", REG_SZ, "new"));
    EXPECT_EQ(87u, SetPrinterDataW(administrator.Get(), Name(L"Kept"), REG_SZ, nullptr, 1));
    EXPECT_EQ(87u, Set(administrator.Get(), nullptr, REG_SZ, "x"));
    EXPECT_EQ("new", spooler::LoadValue(kPrinter, L"Kept"));
}

// ---------------------------------------------------------------------------------------------
// Jobs

/// What one EnumJobsW gives, in a block of exactly that size, so that a write past it is seen.
struct Jobs {
    Jobs(HANDLE printer, DWORD first, DWORD count, DWORD size) : bytes(size, 0xEE)
    {
        ok = EnumJobsW(printer, first, count, 1, bytes.data(), size, &needed, &returned) != FALSE;
        error = ok ? 0 : GetLastError();
    }
    const JOB_INFO_1W& operator[](size_t index) const
    {
        return reinterpret_cast<const JOB_INFO_1W*>(bytes.data())[index];
    }
    std::vector<DWORD> Ids() const
    {
        std::vector<DWORD> ids;
        for (size_t i = 0; i < returned; ++i) {
            ids.push_back((*this)[i].JobId);
        }
        return ids;
    }

    std::vector<BYTE> bytes;
    bool ok = false;
    DWORD error = 0;
    DWORD needed = 0;
    DWORD returned = 99;
};

TEST_F(Spooler, PacksJobsIntoExactlyTheSizeThatItAsksFor)
{
    CVirtualClock clock;
    const DWORD first = spooler::SubmitJob(L"CARDS", L"One");
    Sleep(1500);
    const DWORD second = spooler::SubmitJob(kPrinter, L"Number two");
    const CPrinterHandle printer = Open(kUse);

    const Jobs asked(printer.Get(), 0, 10, 0);
    const Jobs tooSmall(printer.Get(), 0, 10, asked.needed - 1);
    EXPECT_EQ(ERROR_INSUFFICIENT_BUFFER, tooSmall.error);
    EXPECT_EQ(0u, tooSmall.returned);
    EXPECT_EQ(std::vector<BYTE>(asked.needed - 1, 0xEE), tooSmall.bytes);

    const Jobs jobs(printer.Get(), 0, 10, asked.needed);
    ASSERT_TRUE(jobs.ok);
    ASSERT_EQ((std::vector<DWORD>{first, second}), jobs.Ids());
    EXPECT_STREQ(L"Cards", jobs[0].pPrinterName);
    EXPECT_STREQ(L"One", jobs[0].pDocument);
    EXPECT_STREQ(L"RAW", jobs[1].pDatatype);
    EXPECT_EQ(2u, jobs[1].Position);
    EXPECT_EQ(1, jobs[1].Submitted.wSecond - jobs[0].Submitted.wSecond);
    const auto* const end = reinterpret_cast<const wchar_t*>(jobs.bytes.data() + jobs.bytes.size());
    EXPECT_EQ(end, jobs[1].pDatatype + 4) << "the last text ends where the buffer does";
}

// ---------------------------------------------------------------------------------------------
// The observer

class CNotes final : public spooler::IValueObserver {
public:
    CNotes() { spooler::SetValueObserver(this); }
    ~CNotes() override { spooler::SetValueObserver(nullptr); }

    std::wstring text;

private:
    void OnValueChanged(const std::wstring& printerName, const std::wstring& valueName, DWORD type,
                        const std::string* bytes) override
    {
        text += printerName + L'/' + valueName + L':' + std::to_wstring(type) +
                (bytes ? L'=' + std::wstring(bytes->begin(), bytes->end()) : L" removed") + L';';
    }
};

TEST_F(Spooler, TellsTheObserverWhatTheServicesChange)
{
    const CPrinterHandle printer = Open();
    const CPrinterHandle user = Open(kUse);
    {
        const CNotes notes;
        EXPECT_EQ(0u, Set(printer.Get(), L"a", 3, "1"));
        EXPECT_EQ(0u, Set(printer.Get(), L"A", 4, "")); // the same value, in the name that was used last
        EXPECT_EQ(0u, DeletePrinterDataW(printer.Get(), Name(L"a")));
        EXPECT_NE(0u, DeletePrinterDataW(printer.Get(), Name(L"a")));
        EXPECT_NE(0u, Set(user.Get(), L"a", 3, "2"));
        spooler::StoreValue(kPrinter, L"b", 3, "3");
        EXPECT_EQ(L"Cards/a:3=1;Cards/A:4=;Cards/a:0 removed;", notes.text);
    }
    EXPECT_EQ(0u, Set(printer.Get(), L"a", 3, "1")); // nobody listens
}

} // namespace
