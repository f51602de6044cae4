#include "host/session/trace.h"

#include <algorithm>

#include "host/exit_status.h"
#include "host/text/file.h"
#include "host/text/json.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

constexpr size_t kShownBytes = 64;
constexpr unsigned kProcessNumber = 1;
constexpr uint64_t kMicrosecondsPerMs = 1000;
constexpr std::string_view kReadName = "ReadPort";

/// The beginning of the bytes in hexadecimal, "**" for the hidden ones.
std::string ShownHex(std::string_view bytes, const CPasswordMask& mask)
{
    const std::string_view begin = bytes.substr(0, kShownBytes);
    const std::vector<bool> hidden = mask.Hidden(begin);
    std::string shown;
    for (size_t i = 0; i < begin.size(); ++i) {
        shown += i == 0 ? "" : " ";
        shown += hidden[i] ? "**" : Hex(begin.substr(i, 1));
    }
    return shown + (bytes.size() > kShownBytes ? " ..." : "");
}

std::string Meaning(const CPortCall& call)
{
    if (call.control != 0) {
        return DescribeControl(call.control);
    }
    if (!call.sent.empty()) {
        return DescribeCommand(call.sent);
    }
    return call.name == kReadName ? DescribeReply(call.received) : "";
}

} // namespace

CTrace::CTrace(const std::filesystem::path& path)
    : m_isEventFormat(LowerCase(DisplayPath(path.extension())) == ".json"), m_startTick(GetTickCount()),
      m_file(path, std::ios::binary)
{
    if (!m_file) {
        throw CHostError(ExitStatus::CannotCreate, DisplayPath(path) + ": cannot write the trace");
    }
    if (m_isEventFormat) {
        m_file << "{\"displayTimeUnit\":\"ms\",\"traceEvents\":[";
    }
    Row();
}

CTrace::~CTrace()
{
    if (m_isEventFormat) {
        m_file << "\n]}\n";
    }
}

void CTrace::OnPortCall(const CPortCall& call)
{
    const CSectionHold hold(m_lock);
    const CThreadRow& row = Row();
    CPasswordMask& mask = m_masks[call.port];
    const CJson::Object details = Details(call, mask);
    mask.Pass(call.sent.substr(0, call.taken));
    if (m_isEventFormat) {
        WriteEvent(call, row, details);
    } else {
        WriteLine(call, row, details);
    }
}

const CTrace::CThreadRow& CTrace::Row()
{
    thread_local const char t_mark = 0;
    const auto [place, isNew] = m_rows.try_emplace(&t_mark);
    CThreadRow& row = place->second;
    if (isNew) {
        row.number = static_cast<unsigned>(m_rows.size());
        row.name = row.number == 1 ? "main" : "thread " + std::to_string(row.number);
        if (m_isEventFormat) {
            Write(CJson::Object{{"name", "thread_name"},
                                {"ph", "M"},
                                {"pid", kProcessNumber},
                                {"tid", row.number},
                                {"args", CJson::Object{{"name", row.name}}}});
        }
    }
    return row;
}

void CTrace::Write(const CJson& record)
{
    if (m_isEventFormat) {
        m_file << (m_isFirst ? "\n" : ",\n");
        m_isFirst = false;
    }
    m_file << JsonLine(record) << (m_isEventFormat ? "" : "\n") << std::flush;
}

CJson::Object CTrace::Details(const CPortCall& call, const CPasswordMask& mask) const
{
    CJson::Object details;
    if (!call.sent.empty()) {
        details.emplace_back("offered", call.sent.size());
        details.emplace_back("taken", call.taken);
        details.emplace_back("sent", ShownHex(call.sent, mask));
    }
    if (!call.received.empty()) {
        details.emplace_back("received", call.received.size());
        details.emplace_back("reply", ShownHex(call.received, {}));
        details.emplace_back("text", PrintableUtf8(call.received.substr(0, kShownBytes)));
    }
    details.emplace_back("result", call.succeeded ? "done" : "error " + std::to_string(call.lastError));
    return details;
}

void CTrace::WriteLine(const CPortCall& call, const CThreadRow& row, const CJson::Object& details)
{
    const char* direction = !call.sent.empty() ? "to printer" : call.name == kReadName ? "from printer" : "";
    CJson::Object record{{"ms", call.startTick - m_startTick},
                         {"for_ms", call.durationMs},
                         {"thread", row.name},
                         {"call", call.name},
                         {"direction", direction},
                         {"meaning", Meaning(call)}};
    record.insert(record.end(), details.begin(), details.end());
    Write(record);
}

void CTrace::WriteEvent(const CPortCall& call, const CThreadRow& row, const CJson::Object& details)
{
    const std::string meaning = Meaning(call);
    Write(CJson::Object{{"name", meaning.empty() ? call.name : meaning},
                        {"cat", call.name},
                        {"ph", "X"},
                        {"ts", uint64_t{call.startTick - m_startTick} * kMicrosecondsPerMs},
                        {"dur", uint64_t{call.durationMs} * kMicrosecondsPerMs},
                        {"pid", kProcessNumber},
                        {"tid", row.number},
                        {"args", details}});
}

} // namespace zrtmon::host
