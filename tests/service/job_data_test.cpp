#include "service/job_data.h"

#include <atomic>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>

#include "tests/service/temporary_folder.h"

namespace zrtmon::service {
namespace {

/// All that is read up to the end, or an empty text and the problem.
std::string ReadAll(CJobData& data, std::string* problem = nullptr)
{
    std::string text;
    try {
        for (std::span<char> piece = data.Next(); !piece.empty(); piece = data.Next()) {
            text.append(piece.data(), piece.size());
        }
    } catch (const CJobDataError& error) {
        if (!problem) {
            throw;
        }
        *problem = error.what();
    }
    return text;
}

class JobData : public testing::Test {
protected:
    CDescriptor Open(const std::string& text, int flags = O_RDONLY)
    {
        return CDescriptor(open(m_folder.Write("job", text).c_str(), flags));
    }
    std::unique_ptr<CJobData> Data(const CDescriptor& descriptor)
    {
        return std::make_unique<CJobData>(CDescriptor(dup(descriptor.Get())), m_stop.Get());
    }

    CTemporaryFolder m_folder;
    CDescriptor m_stop{eventfd(0, 0)};
};

TEST_F(JobData, AFileIsReadFromItsPositionWhichStays)
{
    const std::string text = std::string(200'000, 'a') + "end";
    const CDescriptor file = Open("head" + text);
    ASSERT_EQ(4, lseek(file.Get(), 4, SEEK_SET));
    const auto data = Data(file);
    EXPECT_EQ(text.size(), data->TotalBytes());
    EXPECT_EQ(text, ReadAll(*data));
    EXPECT_EQ(4, lseek(file.Get(), 0, SEEK_CUR));
}

TEST_F(JobData, AFileThatChangesIsReadToTheSizeThatItHad)
{
    const CDescriptor file = Open("12345678", O_RDWR);
    const auto grows = Data(file);
    ASSERT_EQ(0, ftruncate(file.Get(), 100'000));
    EXPECT_EQ("12345678", ReadAll(*grows));
    const auto shrinks = Data(file);
    ASSERT_EQ(0, ftruncate(file.Get(), 3));
    std::string problem;
    EXPECT_EQ("123", ReadAll(*shrinks, &problem));
    EXPECT_NE(std::string::npos, problem.find("cut short"));
}

TEST_F(JobData, RefusesWhatCannotBePrinted)
{
    const CDescriptor huge = Open("", O_RDWR);
    ASSERT_EQ(0, ftruncate(huge.Get(), (off_t{4} << 30) + 1)); // sparse
    const CDescriptor largest(open((m_folder.Path() / "job").c_str(), O_RDONLY));
    ASSERT_EQ(1, lseek(largest.Get(), 1, SEEK_SET));
    EXPECT_EQ(kMostJobBytes, Data(largest)->TotalBytes());
    const CTemporaryFolder other;
    const CDescriptor written(open(other.Write("x", "text").c_str(), O_WRONLY));
    const CDescriptor path(open((other.Path() / "x").c_str(), O_PATH));
    const CDescriptor empty(open(other.Write("empty", "").c_str(), O_RDONLY));
    const CDescriptor folder(open("/", O_RDONLY));
    const CDescriptor device(open("/dev/zero", O_RDONLY));
    const struct {
        const CDescriptor& descriptor;
        bool isTooLarge;
    } rows[] = {{huge, true},   {written, false}, {path, false},
                {empty, false}, {folder, false},  {device, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        try {
            Data(row.descriptor);
            ADD_FAILURE() << "taken";
        } catch (const CJobDataError& error) {
            EXPECT_EQ(row.isTooLarge, error.IsTooLarge());
        }
    }
}

/// A pipe or a pair of sockets.
struct CEnds {
    explicit CEnds(bool isSocket)
    {
        int ends[2] = {-1, -1};
        EXPECT_EQ(0, isSocket ? socketpair(AF_UNIX, SOCK_STREAM, 0, ends) : pipe(ends));
        read = CDescriptor(ends[0]);
        write = CDescriptor(ends[1]);
    }
    CDescriptor read;
    CDescriptor write;
};

class JobStream : public JobData, public testing::WithParamInterface<bool> {};

TEST_P(JobStream, IsReadToItsEndWithItsFlagsAsTheyAre)
{
    CEnds ends(GetParam());
    const auto data = Data(ends.read);
    EXPECT_EQ(0u, data->TotalBytes());
    const std::string text(300'000, 'b'); // more than fits in at once
    const int flags = fcntl(ends.read.Get(), F_GETFL);
    std::thread writer([&text, end = std::move(ends.write)] {
        for (size_t sent = 0; sent < text.size();) {
            const ssize_t count = write(end.Get(), text.data() + sent, text.size() - sent);
            sent += count > 0 ? static_cast<size_t>(count) : 0;
        }
    });
    EXPECT_EQ(text, ReadAll(*data));
    EXPECT_EQ(flags, fcntl(ends.read.Get(), F_GETFL));
    writer.join();
}

TEST_P(JobStream, EndsItsWaitWhenItIsStopped)
{
    CEnds ends(GetParam());
    const auto data = Data(ends.read);
    const uint64_t one = 1;
    ASSERT_EQ(ssize_t{sizeof one}, write(m_stop.Get(), &one, sizeof one));
    EXPECT_TRUE(data->Next().empty());
}

/// A client that reads its own end again takes the byte between the service's poll and its read. A read that
/// waited then would not end, since the other end stays open and sends no more.
TEST_P(JobStream, DoesNotWaitForBytesThatAnotherReaderTakes)
{
    CEnds ends(GetParam());
    const auto data = Data(ends.read);
    const std::string name = "/proc/self/fd/" + std::to_string(ends.read.Get());
    const CDescriptor other(GetParam() ? dup(ends.read.Get()) : open(name.c_str(), O_RDONLY | O_NONBLOCK));
    std::atomic<bool> isDone = false;
    std::thread thief([&] {
        for (char taken = 0; !isDone;) {
            [[maybe_unused]] const ssize_t count =
                GetParam() ? recv(other.Get(), &taken, 1, MSG_DONTWAIT) : read(other.Get(), &taken, 1);
        }
    });
    for (int round = 0; round < 100; ++round) {
        std::thread reader([&] { ReadAll(*data); });
        ASSERT_EQ(1, write(ends.write.Get(), "x", 1));
        for (int left = 1; left > 0;) { // until one of the two has it
            ASSERT_EQ(0, ioctl(ends.read.Get(), FIONREAD, &left));
        }
        uint64_t stopped = 1;
        ASSERT_EQ(ssize_t{sizeof stopped}, write(m_stop.Get(), &stopped, sizeof stopped));
        reader.join();
        ASSERT_EQ(ssize_t{sizeof stopped}, read(m_stop.Get(), &stopped, sizeof stopped));
    }
    isDone = true;
    thief.join();
}

INSTANTIATE_TEST_SUITE_P(Kinds, JobStream, testing::Bool(),
                         [](const auto& testCase) { return testCase.param ? "Socket" : "Pipe"; });

} // namespace
} // namespace zrtmon::service
