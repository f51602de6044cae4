#include "service/client/service_job.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/mman.h>
#include <system_error>

#include "host/printer/status_words.h"
#include "host/session/spooler_session.h"
#include "host/text/file.h"
#include "host/text/text.h"
#include "service/client/service_printer.h"
#include "service/descriptor.h"

namespace zrtmon::client {
namespace {

using host::CHostError;
using host::ExitStatus;
using service::CDescriptor;

constexpr size_t kLongestTitle = 255; // bytes
constexpr uint32_t kCopyBytes = 1 << 20;

CDescriptor OpenFile(const std::filesystem::path& path)
{
    CDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    if (!file) {
        throw CHostError(ExitStatus::NoInput, host::DisplayPath(path) + ": cannot be opened for reading (" +
                                                  std::generic_category().message(errno) + ')');
    }
    return file;
}

void WriteAll(const CDescriptor& file, std::span<const char> bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = write(file.Get(), bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            throw CHostError(ExitStatus::NoDevice,
                             "no memory for the job (" + std::generic_category().message(errno) + ')');
        }
        bytes = bytes.subspan(static_cast<size_t>(std::max<ssize_t>(written, 0)));
    }
}

/// What came through a pipe, as a file without a name.
CDescriptor CopyToFile(host::CJobSource& source)
{
    CDescriptor file(memfd_create("zrtctl-job", MFD_CLOEXEC));
    if (!file) {
        throw CHostError(ExitStatus::NoDevice,
                         "no memory for the job (" + std::generic_category().message(errno) + ')');
    }
    for (std::span<char> piece = source.Piece(kCopyBytes); !piece.empty(); piece = source.Piece(kCopyBytes)) {
        WriteAll(file, piece);
        source.Take(piece.size());
    }
    lseek(file.Get(), 0, SEEK_SET);
    return file;
}

CDescriptor FileOf(host::CJobSource& source)
{
    std::error_code ignored;
    const bool isFile = std::filesystem::is_regular_file(source.Path(), ignored);
    return isFile ? OpenFile(source.Path()) : CopyToFile(source);
}

/// Not longer than the service takes, and cut between two characters.
std::string Title(const std::filesystem::path& path)
{
    std::string title = host::PrintableUtf8(host::DisplayPath(path.filename()));
    size_t size = std::min(title.size(), kLongestTitle);
    while (size < title.size() && (static_cast<unsigned char>(title[size]) & 0xC0) == 0x80) {
        --size;
    }
    title.resize(size);
    return title;
}

/// Without an answer nobody here knows whether the service has taken the job.
std::unique_ptr<IRemoteJob> HandOver(IRemotePrinter& printer, host::CJobSource& source)
{
    const CDescriptor file = FileOf(source);
    try {
        return printer.Print(file.Get(), Title(source.Path()));
    } catch (const CServiceLost& loss) {
        throw CServiceLost(loss.Why(), std::string(loss.what()) +
                                           "; it may print the job all the same, and zrtctl jobs says so");
    }
}

struct CEnding {
    std::string_view state;
    ExitStatus status;
    const char* words; ///< before the service's reason
};

constexpr CEnding kEndings[] = {
    {"cancelled", ExitStatus::PrinterError, "the job was cancelled: "},
    {"failed", ExitStatus::PrinterError, "the job failed: "},
    {"interrupted", ExitStatus::NoDevice, "the job was interrupted: "},
};

} // namespace

CServiceJob::CServiceJob(IPrintService& service, IRemotePrinter& printer, host::CJobSource& source)
    : m_service(service), m_printer(printer), m_printerStatus(printer.Status()),
      m_totalBytes(source.TotalBytes()), m_hasDevice(host::IsPrinterPort(m_printerStatus.port)),
      m_remote(HandOver(printer, source))
{
}

CServiceJob::~CServiceJob()
{
    try {
        if (!m_remote->Status().HasEnded()) {
            m_remote->Cancel();
        }
    } catch (const CHostError&) { // nobody is there to be told
    }
}

/// As the service signalled it last. A loss is reported with what becomes of the job.
CJobStatus CServiceJob::Status()
{
    try {
        return m_remote->Status();
    } catch (const CServiceLost& loss) {
        const bool goesOn = loss.Why() == CServiceLost::Cause::BusLost;
        throw CServiceLost(loss.Why(),
                           std::string(loss.what()) +
                               (goesOn ? "; the job goes on in the service for a minute at most, and zrtctl "
                                         "jobs says how it ended"
                                       : "; the job does not go on, and zrtctl jobs says how far it got "
                                         "when the service runs again"));
    }
}

bool CServiceJob::WaitForEnd(DWORD milliseconds)
{
    const DWORD start = GetTickCount();
    while (!Status().HasEnded()) {
        const DWORD passed = GetTickCount() - start;
        if (passed >= milliseconds) {
            return false;
        }
        m_service.WaitForChange(&m_seenChanges, milliseconds - passed);
    }
    return true;
}

/// A service that ends right after the job takes nothing from what is known about it.
CPrinterStatus CServiceJob::PrinterStatus()
{
    try {
        m_printerStatus = m_printer.Status();
    } catch (const CServiceLost&) { // the job's own status reports it
    }
    return m_printerStatus;
}

/// Of a printer at which other jobs may print: only what concerns this one.
host::CPrinterState CServiceJob::PrinterState(const CJobStatus& job)
{
    const CPrinterStatus printer = PrinterStatus();
    host::CPrinterState state{.values = PublishedValues(printer)};
    state.values.printerError = job.category;
    state.printingJob = job.state == "waiting" ? 0 : job.id;
    if (job.state == "waiting") {
        state.queue = printer.state == "failed" ? printer.message : "other jobs are printed first";
    } else if (job.category == host::kNoErrorCategory && job.state == "held") {
        state.queue = job.reason;
    }
    return state;
}

std::optional<int> CServiceJob::Cards(const CJobStatus& job) const
{
    return m_hasDevice ? std::optional(job.cards) : std::nullopt;
}

host::CJobView CServiceJob::View()
{
    const CJobStatus job = Status();
    const bool isFinishing = job.state == "finishing" || job.bytes >= m_totalBytes;
    return {job.bytes, m_totalBytes, isFinishing, Cards(job), PrinterState(job)};
}

void CServiceJob::Delete()
{
    try {
        m_remote->Cancel();
    } catch (const CHostError&) { // it has ended meanwhile, or the next look at it says what is wrong
    }
}

host::CJobOutcome CServiceJob::Outcome()
{
    const CJobStatus job = Status();
    host::CJobOutcome outcome{.values = PublishedValues(PrinterStatus()), .cards = Cards(job)};
    for (const CEnding& ending : kEndings) {
        if (ending.state == job.state) {
            outcome.status = ending.status;
            outcome.problem = ending.words + host::Printable(job.reason);
        }
    }
    return outcome;
}

} // namespace zrtmon::client
