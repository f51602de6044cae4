// What ISystemSpooler promises: of the test spooler itself, and of the machine's through winspool.drv.
#include <algorithm>
#include <cstdlib>
#include <map>

#include <gtest/gtest.h>

#include "simulator/job_builder.h"
#include "tests/support/case_name.h"
#include "tests/support/spooler_site.h"

namespace zrtmon::test {
namespace {

constexpr DWORD kUse = PRINTER_ACCESS_USE;
constexpr DWORD kAdminister = PRINTER_ACCESS_ADMINISTER | PRINTER_ACCESS_USE;
constexpr DWORD kLongestJobMs = 15000;

class SystemSpooler : public testing::Test {
protected:
    ISystemSpooler& Spooler() { return m_site->Spooler(); }

    std::unique_ptr<ISpoolerQueue> OpenQueue(const std::wstring& name, DWORD access = kAdminister)
    {
        std::unique_ptr<ISpoolerQueue> queue;
        EXPECT_EQ(DWORD{ERROR_SUCCESS}, Spooler().Open(name, access, &queue));
        return queue;
    }

private:
    std::unique_ptr<ISpoolerSite> m_site = MakeSpoolerSite();
};

std::map<std::wstring, std::string> Stored(ISpoolerQueue& queue)
{
    std::vector<std::pair<std::wstring, CStoredValue>> values;
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, queue.StoredValues(&values));
    std::map<std::wstring, std::string> byName;
    for (const auto& [name, value] : values) {
        byName[name] = value.bytes;
    }
    return byName;
}

std::string CardJob(uint32_t cards)
{
    sim::JobShape shape;
    shape.cards = cards;
    const std::vector<uint8_t> bytes = sim::BuildJob(shape).bytes;
    return {bytes.begin(), bytes.end()};
}

/// All status bits that a job had until it left the queue.
DWORD FollowJob(ISpoolerQueue& queue, DWORD jobId)
{
    const DWORD start = GetTickCount();
    DWORD seen = 0;
    std::vector<CQueueJob> jobs;
    while (GetTickCount() - start < kLongestJobMs) {
        EXPECT_EQ(DWORD{ERROR_SUCCESS}, queue.Jobs(&jobs));
        const auto job = std::find_if(jobs.begin(), jobs.end(),
                                      [jobId](const CQueueJob& each) { return each.id == jobId; });
        if (job == jobs.end()) {
            return seen;
        }
        seen |= job->status;
        Sleep(10);
    }
    ADD_FAILURE() << "the job is still in the queue";
    return seen;
}

TEST_F(SystemSpooler, ListsWhatAPrinterIs)
{
    std::vector<CQueueEntry> queues;
    ASSERT_EQ(DWORD{ERROR_SUCCESS}, Spooler().ListQueues(&queues));
    std::map<std::wstring, CQueueEntry> byName;
    for (const CQueueEntry& entry : queues) {
        byName[entry.name] = entry;
    }
    EXPECT_EQ(L"ZRT Card Printer Monitor", byName.at(L"Card Printer").monitor);
    EXPECT_EQ(L"sim:cards=250,serial=SN77,card-ms=100", byName.at(L"Card Printer").port);
    EXPECT_EQ(L"Card Printer Driver", byName.at(L"Card Printer").driver);
    EXPECT_EQ(DWORD{PRINTER_ATTRIBUTE_ENABLE_BIDI}, byName.at(L"Card Printer").attributes);
    EXPECT_EQ(DWORD{0}, byName.at(L"One-Way Printer").attributes);
    EXPECT_EQ(L"", byName.at(L"Paper Printer").monitor);

    CQueueEntry entry;
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, OpenQueue(L"card printer")->Info(&entry));
    EXPECT_EQ(L"Card Printer", entry.name);
    EXPECT_EQ(byName.at(L"Card Printer").monitor, entry.monitor);
}

TEST_F(SystemSpooler, OpensWhatTheRightsAllow)
{
    std::unique_ptr<ISpoolerQueue> queue;
    EXPECT_EQ(DWORD{ERROR_INVALID_PRINTER_NAME}, Spooler().Open(L"Card Prynter", kUse, &queue));
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, Spooler().Open(L"Guarded Printer", kAdminister, &queue));
    EXPECT_FALSE(queue);
    queue = OpenQueue(L"Guarded Printer", kUse);
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, queue->SetData(L"Password", REG_BINARY, std::string("x")));
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, queue->DeleteData(L"Password"));
}

struct QuestionCase {
    const char* name;
    const wchar_t* printer;
    const wchar_t* requestText;
    size_t room;
    DWORD error;
    DWORD needed;
    std::string answer;
};

class Question : public SystemSpooler, public testing::WithParamInterface<QuestionCase> {};

TEST_P(Question, GetsAnAnswerOrAnError)
{
    const auto queue = OpenQueue(GetParam().printer, kUse);
    std::string buffer(GetParam().room, '?');
    DWORD needed = 99;
    EXPECT_EQ(GetParam().error, queue->GetData(GetParam().requestText, buffer, &needed));
    EXPECT_EQ(GetParam().needed, needed);
    EXPECT_EQ(GetParam().answer, GetParam().error == ERROR_SUCCESS ? buffer.substr(0, needed) : "");
}

const QuestionCase kQuestions[] = {
    {"Answered", L"Card Printer", L"SerialNumber", 64, ERROR_SUCCESS, 5, std::string("SN77", 5)},
    {"NoRoom", L"Card Printer", L"SerialNumber", 4, ERROR_MORE_DATA, 5, ""},
    {"RefusedAndNotStored", L"Card Printer", L"NoSuchName", 64, ERROR_FILE_NOT_FOUND, 0, ""},
    {"RefusedWithTheMonitorsError", L"Strict Printer", L"NoSuchName", 64, ERROR_INVALID_PARAMETER, 0, ""},
    {"ActionWithoutAnswer", L"Card Printer", L"MoveTo/1", 64, ERROR_FILE_NOT_FOUND, 0, ""},
    {"ActionWithoutAnswerOrError", L"Strict Printer", L"MoveTo/1", 64, ERROR_SUCCESS, 0, ""},
    {"WithoutBidirectionalSupport", L"One-Way Printer", L"SerialNumber", 64, ERROR_FILE_NOT_FOUND, 0, ""},
    {"AnotherDriver", L"Paper Printer", L"SerialNumber", 64, ERROR_FILE_NOT_FOUND, 0, ""},
};
INSTANTIATE_TEST_SUITE_P(Names, Question, testing::ValuesIn(kQuestions), CaseName());

TEST_F(SystemSpooler, StoresAnswersAndWhatAnAdministratorSets)
{
    const auto queue = OpenQueue(L"Card Printer");
    std::string answer(64, '\0');
    DWORD needed = 0;
    ASSERT_EQ(DWORD{ERROR_SUCCESS}, queue->GetData(L"SerialNumber", answer, &needed));
    EXPECT_EQ(answer.substr(0, needed), Stored(*queue)[L"SerialNumber"]);

    const std::string bytes("a\0b", 3);
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, queue->SetData(L"Own", REG_BINARY, bytes));
    EXPECT_EQ(bytes, Stored(*queue)[L"Own"]);
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, queue->GetData(L"Own", answer, &needed)) << "refused, and stored";
    EXPECT_EQ(bytes, answer.substr(0, needed));
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, queue->DeleteData(L"Own"));
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, queue->DeleteData(L"Own"));
    EXPECT_EQ(0u, Stored(*queue).count(L"Own"));
}

TEST_F(SystemSpooler, PrintsAJobAndShowsItsStates)
{
    const auto queue = OpenQueue(L"Card Printer", kUse);
    const std::string job = CardJob(2);
    DWORD jobId = 0;
    ASSERT_EQ(DWORD{ERROR_SUCCESS}, queue->StartDocument(L"two cards", &jobId));
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, queue->Write(job));
    std::vector<CQueueJob> jobs;
    ASSERT_EQ(DWORD{ERROR_SUCCESS}, queue->Jobs(&jobs));
    ASSERT_EQ(1u, jobs.size());
    EXPECT_EQ(jobId, jobs[0].id);
    EXPECT_EQ(L"two cards", jobs[0].document);
    EXPECT_EQ(job.size(), jobs[0].bytes);
    EXPECT_EQ(DWORD{JOB_STATUS_SPOOLING}, jobs[0].status);
    const int before = std::atoi(Stored(*queue)[L"CardCount"].c_str());
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, queue->EndDocument());
    EXPECT_EQ(DWORD{JOB_STATUS_PRINTING | JOB_STATUS_PRINTED},
              FollowJob(*queue, jobId) & ~JOB_STATUS_SPOOLING);
    EXPECT_GE(std::atoi(Stored(*queue)[L"CardCount"].c_str()), std::max(before, 250) + 1);
}

TEST_F(SystemSpooler, DeletesAJobWhileItIsWrittenOrPrinted)
{
    const auto queue = OpenQueue(L"Card Printer", kUse);
    DWORD jobId = 0;
    ASSERT_EQ(DWORD{ERROR_SUCCESS}, queue->StartDocument(L"given up", &jobId));
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, queue->DeleteJob(jobId));
    EXPECT_EQ(DWORD{ERROR_PRINT_CANCELLED}, queue->Write(std::string("x")));
    queue->EndDocument();

    const auto broken = OpenQueue(L"Broken Printer", kUse);
    ASSERT_EQ(DWORD{ERROR_SUCCESS}, broken->StartDocument(L"held", &jobId));
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, broken->Write(CardJob(20)));
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, broken->EndDocument());
    Sleep(1000);
    std::vector<CQueueJob> jobs;
    ASSERT_EQ(DWORD{ERROR_SUCCESS}, broken->Jobs(&jobs));
    ASSERT_EQ(1u, jobs.size()) << "the printer's error holds it";
    EXPECT_EQ(DWORD{JOB_STATUS_PRINTING}, jobs[0].status);
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, broken->DeleteJob(jobId));
    EXPECT_NE(DWORD{0}, FollowJob(*broken, jobId) & JOB_STATUS_DELETING);
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, broken->DeleteJob(jobId));
}

TEST_F(SystemSpooler, AWaitEndsWithAChange)
{
    const auto queue = OpenQueue(L"Card Printer");
    ASSERT_TRUE(queue->WaitForChange(0));
    ASSERT_EQ(DWORD{ERROR_SUCCESS}, queue->SetData(L"Changed", REG_BINARY, std::string("x")));
    const DWORD start = GetTickCount();
    EXPECT_TRUE(queue->WaitForChange(10000));
    EXPECT_LT(GetTickCount() - start, 5000u);
    queue->DeleteData(L"Changed");
}

} // namespace
} // namespace zrtmon::test
