// The process of the stand-in spooler: hosts the monitor's library that ships above simulated printers, and
// serves what the stand-in for winspool.drv passes on, each call on its own thread.
//
//     spooler_process LIBRARY [PRINTER...]    with these of the tests' printers; all of them if none is named
//     spooler_process ping                    exits with 0 if one is running
//     spooler_process stop                    ends it
#include <algorithm>
#include <atomic>
#include <functional>
#include <iostream>
#include <list>
#include <map>
#include <memory>

#include "host/text/file.h"
#include "host/text/text.h"
#include "platform/spooler_admin.h"
#include "platform/thread.h"
#include "platform/virtual_clock.h"
#include "tests/support/test_queues.h"
#include "tests/support/test_spooler.h"
#include "tests/windows/spooler_pipe.h"

namespace {

using namespace zrtmon;
using namespace zrtmon::test;

constexpr DWORD kPipeBufferBytes = 64 * 1024;

CMessageWriter& operator<<(CMessageWriter& writer, const CQueueEntry& entry)
{
    return writer << entry.name << entry.port << entry.driver << entry.monitor << entry.status
                  << entry.attributes << entry.jobs;
}

CMessageWriter& operator<<(CMessageWriter& writer, const CQueueJob& job)
{
    return writer << job.id << job.document << job.user << job.statusText << job.status << job.bytes;
}

/// The monitor's library as it ships, with the print services of this process.
class CTestLibrary {
public:
    explicit CTestLibrary(const std::string& file) : m_module(LoadLibraryW(host::WidePath(file).c_str()))
    {
        const FARPROC entry = m_module ? GetProcAddress(m_module, "InitializePrintMonitor2") : nullptr;
        if (!entry || !spooler::RedirectSpoolerImports(m_module)) {
            throw std::runtime_error(file + ": is not the monitor's library");
        }
        using Initialize = MONITOR2*(WINAPI*)(MONITORINIT*, HANDLE*);
        HANDLE monitor = nullptr;
        m_table = reinterpret_cast<Initialize>(reinterpret_cast<void (*)()>(entry))(&m_init, &monitor);
    }
    ~CTestLibrary() { FreeLibrary(m_module); }
    CTestLibrary(const CTestLibrary&) = delete;
    CTestLibrary& operator=(const CTestLibrary&) = delete;

    const MONITOR2* Table() const { return m_table; }

private:
    HMODULE m_module;
    MONITORINIT m_init{};
    MONITOR2* m_table = nullptr;
};

/// The printers that clients have open, by the number that is their handle.
class COpenQueues {
public:
    DWORD Add(std::unique_ptr<ISpoolerQueue> queue)
    {
        const CSectionHold hold(m_lock);
        m_queues[++m_last] = std::move(queue);
        return m_last;
    }
    /// Null if there is none of that number.
    std::shared_ptr<ISpoolerQueue> Find(DWORD number)
    {
        const CSectionHold hold(m_lock);
        const auto found = m_queues.find(number);
        return found != m_queues.end() ? found->second : nullptr;
    }
    DWORD Remove(DWORD number)
    {
        const CSectionHold hold(m_lock);
        return m_queues.erase(number) != 0 ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
    }

private:
    CCriticalSection m_lock;
    std::map<DWORD, std::shared_ptr<ISpoolerQueue>> m_queues;
    DWORD m_last = 0;
};

/// One call: its arguments are read from the message, its results are written to the reply, after the error.
using QueueCall = DWORD (*)(ISpoolerQueue& queue, CMessageReader& message, CMessageWriter& reply);

template <typename Row>
DWORD WriteRows(DWORD error, const std::vector<Row>& rows, CMessageWriter& reply)
{
    reply << static_cast<DWORD>(rows.size());
    for (const Row& row : rows) {
        reply << row;
    }
    return error;
}

const std::map<SpoolerCall, QueueCall> kQueueCalls = {
    {SpoolerCall::Info,
     [](ISpoolerQueue& queue, CMessageReader&, CMessageWriter& reply) {
         CQueueEntry entry;
         const DWORD error = queue.Info(&entry);
         reply << entry;
         return error;
     }},
    {SpoolerCall::GetData,
     [](ISpoolerQueue& queue, CMessageReader& message, CMessageWriter& reply) {
         const std::wstring requestText = message.Text();
         std::string buffer(message.Number(), '\0');
         DWORD needed = 0;
         const DWORD error = queue.GetData(requestText, buffer, &needed);
         reply << needed << std::string_view(buffer).substr(0, error == ERROR_SUCCESS ? needed : 0);
         return error;
     }},
    {SpoolerCall::StoredValues,
     [](ISpoolerQueue& queue, CMessageReader&, CMessageWriter& reply) {
         std::vector<std::pair<std::wstring, CStoredValue>> values;
         const DWORD error = queue.StoredValues(&values);
         reply << static_cast<DWORD>(values.size());
         for (const auto& [name, value] : values) {
             reply << name << value.type << std::string_view(value.bytes);
         }
         return error;
     }},
    {SpoolerCall::SetData,
     [](ISpoolerQueue& queue, CMessageReader& message, CMessageWriter&) {
         const std::wstring name = message.Text();
         const DWORD type = message.Number();
         return queue.SetData(name, type, message.Bytes());
     }},
    {SpoolerCall::DeleteData, [](ISpoolerQueue& queue, CMessageReader& message,
                                 CMessageWriter&) { return queue.DeleteData(message.Text()); }},
    {SpoolerCall::StartDocument,
     [](ISpoolerQueue& queue, CMessageReader& message, CMessageWriter& reply) {
         DWORD jobId = 0;
         const DWORD error = queue.StartDocument(message.Text(), &jobId);
         reply << jobId;
         return error;
     }},
    {SpoolerCall::Write, [](ISpoolerQueue& queue, CMessageReader& message,
                            CMessageWriter&) { return queue.Write(message.Bytes()); }},
    {SpoolerCall::EndDocument,
     [](ISpoolerQueue& queue, CMessageReader&, CMessageWriter&) { return queue.EndDocument(); }},
    {SpoolerCall::Jobs,
     [](ISpoolerQueue& queue, CMessageReader&, CMessageWriter& reply) {
         std::vector<CQueueJob> jobs;
         const DWORD error = queue.Jobs(&jobs);
         return WriteRows(error, jobs, reply);
     }},
    {SpoolerCall::DeleteJob, [](ISpoolerQueue& queue, CMessageReader& message,
                                CMessageWriter&) { return queue.DeleteJob(message.Number()); }},
    {SpoolerCall::WaitForChange,
     [](ISpoolerQueue& queue, CMessageReader& message, CMessageWriter& reply) -> DWORD {
         const DWORD limitMs = message.Number();
         const DWORD start = GetTickCount();
         const bool hasWaited = queue.WaitForChange(limitMs);
         reply << DWORD{hasWaited &&
                        GetTickCount() - start < limitMs}; // before its time: something has changed
         return hasWaited ? ERROR_SUCCESS : ERROR_NOT_SUPPORTED;
     }},
};

class CServer {
public:
    explicit CServer(ISystemSpooler& spooler) : m_spooler(spooler) {}

    /// Returns when a client has asked for the end.
    void Run()
    {
        CHandle pipe = MakePipe();
        while (true) {
            ConnectNamedPipe(pipe.Get(), nullptr); // fails if a client is there already, or is gone again
            if (m_isStopping) {
                return;
            }
            CHandle next =
                MakePipe(); // before the other can be closed: without any, the name would be unknown
            m_calls.remove_if([](const CServedCall& call) { return call.hasEnded.load(); });
            CServedCall& call = m_calls.emplace_back();
            call.thread = std::make_unique<CThread>(
                [this, &call, connected = std::make_shared<CHandle>(std::move(pipe))] {
                    Serve(connected->Get());
                    call.hasEnded = true;
                });
            pipe = std::move(next);
        }
    }

private:
    struct CServedCall {
        std::atomic<bool> hasEnded{false};
        std::unique_ptr<CThread> thread;
    };

    static CHandle MakePipe()
    {
        HANDLE const pipe = CreateNamedPipeW(
            kSpoolerPipe, PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT,
            PIPE_UNLIMITED_INSTANCES, kPipeBufferBytes, kPipeBufferBytes, 0, nullptr);
        if (pipe == INVALID_HANDLE_VALUE) {
            throw std::runtime_error("CreateNamedPipeW: error " + std::to_string(GetLastError()));
        }
        return CHandle(pipe);
    }

    void Serve(HANDLE pipe)
    {
        std::string bytes;
        if (!ReadMessage(pipe, &bytes)) {
            return;
        }
        CMessageReader message(std::move(bytes));
        CMessageWriter results;
        const DWORD error = Call(message, results);
        WriteMessage(pipe, (CMessageWriter() << error).Bytes() + results.Bytes());
        char none = 0;
        ReadExactly(pipe, &none, 1); // until the client closes it: closing drops what has not been read
    }

    DWORD Call(CMessageReader& message, CMessageWriter& results)
    {
        const auto call = static_cast<SpoolerCall>(message.Number());
        switch (call) {
        case SpoolerCall::List: {
            std::vector<CQueueEntry> queues;
            const DWORD error = m_spooler.ListQueues(&queues);
            return WriteRows(error, queues, results);
        }
        case SpoolerCall::Open: {
            const std::wstring name = message.Text();
            std::unique_ptr<ISpoolerQueue> queue;
            const DWORD error = m_spooler.Open(name, message.Number(), &queue);
            results << (queue ? m_open.Add(std::move(queue)) : 0);
            return error;
        }
        case SpoolerCall::Close:
            return m_open.Remove(message.Number());
        case SpoolerCall::Ping:
            return ERROR_SUCCESS;
        case SpoolerCall::Stop:
            m_isStopping = true;
            OpenSpoolerPipe(); // wakes Run
            return ERROR_SUCCESS;
        default: {
            const std::shared_ptr<ISpoolerQueue> queue = m_open.Find(message.Number());
            return queue ? kQueueCalls.at(call)(*queue, message, results) : ERROR_INVALID_HANDLE;
        }
        }
    }

    ISystemSpooler& m_spooler;
    COpenQueues m_open;
    std::atomic<bool> m_isStopping{false};
    std::list<CServedCall> m_calls; ///< last: their threads use the others
};

/// Calls the process that is running: 0 if there is one.
int CallRunning(SpoolerCall call)
{
    CMessageReader reply;
    return CallSpooler(CMessageWriter() << static_cast<DWORD>(call), &reply) == ERROR_SUCCESS ? 0 : 1;
}

void Serve(const std::string& library, std::span<char*> names)
{
    const CVirtualClock clock;
    const CTestLibrary monitor(library);
    CTestSpooler spooler(*monitor.Table(), nullptr);
    for (const CTestQueueOptions& queue : TestQueues()) {
        if (names.empty() ||
            std::find(names.begin(), names.end(), host::Utf8FromWide(queue.name)) != names.end()) {
            spooler.Add(queue);
        }
    }
    CServer server(spooler);
    server.Run();
}

} // namespace

int main(int argc, char** argv)
{
    const std::span<char*> arguments(argv + 1, static_cast<size_t>(argc - 1));
    if (arguments.empty()) {
        std::cerr << "usage: spooler_process LIBRARY [PRINTER...] | ping | stop\n";
        return 64;
    }
    try {
        const std::string first = arguments[0];
        if (first == "stop" || first == "ping") {
            return CallRunning(first == "stop" ? SpoolerCall::Stop : SpoolerCall::Ping);
        }
        Serve(first, arguments.subspan(1));
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "spooler_process: " << error.what() << '\n';
        return 1;
    }
}
