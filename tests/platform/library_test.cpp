#include <latch>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/faults.h"
#include "platform/win32.h"

namespace {

using zrtmon::GlobalBlockCount;

/// Plain text as wide text; paths of the build are taken to be ASCII.
std::wstring Widen(const std::string& text) { return std::wstring(text.begin(), text.end()); }

TEST(Library, IsAttachedWithItsFirstUseAndDetachedWithItsLast)
{
    const uint64_t blocks = GlobalBlockCount();
    HMODULE const module = LoadLibraryW(Widen(ATTACHING_MODULE).c_str());
    ASSERT_TRUE(module);
    EXPECT_EQ(blocks + 1, GlobalBlockCount());
    EXPECT_EQ(module, LoadLibraryW(Widen(ATTACHING_MODULE).c_str()));
    EXPECT_EQ(blocks + 1, GlobalBlockCount()) << "attached twice";
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(blocks + 1, GlobalBlockCount()) << "detached while in use";
    EXPECT_TRUE(GetProcAddress(module, "DllMain"));
    EXPECT_EQ(nullptr, GetProcAddress(module, "Question"));
    EXPECT_EQ(ERROR_PROC_NOT_FOUND, GetLastError());
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(blocks, GlobalBlockCount());
    EXPECT_EQ(nullptr, GetProcAddress(module, "DllMain"));
    EXPECT_EQ(ERROR_INVALID_HANDLE, GetLastError());
    EXPECT_FALSE(FreeLibrary(module));
    EXPECT_EQ(ERROR_INVALID_HANDLE, GetLastError());
}

TEST(Library, IsAttachedOnceByThreadsThatLoadItConcurrently)
{
    const uint64_t blocks = GlobalBlockCount();
    const std::wstring path = Widen(ATTACHING_MODULE);
    constexpr int kThreads = 4;
    constexpr int kRounds = 100;
    std::latch start(kThreads);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (int round = 0; round < kRounds; ++round) {
                HMODULE const module = LoadLibraryW(path.c_str());
                EXPECT_EQ(blocks + 1, GlobalBlockCount());
                EXPECT_TRUE(FreeLibrary(module));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(blocks, GlobalBlockCount());
}

TEST(Library, IsRefused)
{
    const std::pair<std::wstring, DWORD> cases[] = {
        {L"./no-such-module.so", ERROR_MOD_NOT_FOUND},
        {L"./\u00e9\u20ac\U0001F5A8.so", ERROR_MOD_NOT_FOUND},
        {L"./" + std::wstring(1, static_cast<wchar_t>(0xD800)), ERROR_MOD_NOT_FOUND}, // no character
        {Widen(REFUSING_MODULE), ERROR_DLL_INIT_FAILED},
        {Widen(REFUSING_MODULE), ERROR_DLL_INIT_FAILED}};
    for (const auto& [file, error] : cases) {
        SetLastError(ERROR_SUCCESS);
        EXPECT_EQ(nullptr, LoadLibraryW(file.c_str()));
        EXPECT_EQ(error, GetLastError()) << testing::PrintToString(file);
    }
    EXPECT_EQ(nullptr, LoadLibraryW(nullptr));
    EXPECT_EQ(ERROR_MOD_NOT_FOUND, GetLastError());
}

} // namespace
