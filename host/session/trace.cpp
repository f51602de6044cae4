#include "host/session/trace.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "host/exit_status.h"
#include "host/text/file.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

using Json = nlohmann::ordered_json;

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

std::string Meaning(const CLowerCall& call)
{
    if (call.control != 0) {
        return ControlWords(call.control);
    }
    if (!call.sent.empty()) {
        return WrittenWords(call.sent);
    }
    return call.name == kReadName ? ReplyWords(call.received) : "";
}

} // namespace

CTrace::CTrace(const std::filesystem::path& path)
    : m_isEventFormat(LowerCase(DisplayPath(path.extension())) == ".json"), m_startTick(GetTickCount()),
      m_file(path, std::ios::binary)
{
    if (!m_file) {
        throw CHostError(ExitStatus::CannotCreate, DisplayPath(path) + ": the trace cannot be written");
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

void CTrace::OnLowerCall(const CLowerCall& call)
{
    const CSectionHold hold(m_lock);
    const CThreadRow& row = Row();
    CPasswordMask& mask = m_masks[call.port];
    const Json details = Details(call, mask);
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
        row.name = row.number == 1 ? "job" : "queries " + std::to_string(row.number - 1);
        if (m_isEventFormat) {
            Write({{"name", "thread_name"},
                   {"ph", "M"},
                   {"pid", kProcessNumber},
                   {"tid", row.number},
                   {"args", {{"name", row.name}}}});
        }
    }
    return row;
}

void CTrace::Write(const Json& record)
{
    if (m_isEventFormat) {
        m_file << (m_isFirst ? "\n" : ",\n");
        m_isFirst = false;
    }
    m_file << record.dump() << (m_isEventFormat ? "" : "\n") << std::flush;
}

Json CTrace::Details(const CLowerCall& call, const CPasswordMask& mask) const
{
    Json details;
    if (!call.sent.empty()) {
        details["offered"] = call.sent.size();
        details["taken"] = call.taken;
        details["sent"] = ShownHex(call.sent, mask);
    }
    if (!call.received.empty()) {
        details["received"] = call.received.size();
        details["reply"] = ShownHex(call.received, {});
        details["text"] = PrintableUtf8(call.received.substr(0, kShownBytes));
    }
    details["result"] = call.succeeded ? "done" : "error " + std::to_string(call.lastError);
    return details;
}

void CTrace::WriteLine(const CLowerCall& call, const CThreadRow& row, const Json& details)
{
    const char* direction = !call.sent.empty() ? "to printer" : call.name == kReadName ? "from printer" : "";
    Json record{{"ms", call.startTick - m_startTick},
                {"for_ms", call.durationMs},
                {"thread", row.name},
                {"call", call.name},
                {"direction", direction},
                {"meaning", Meaning(call)}};
    record.update(details);
    Write(record);
}

void CTrace::WriteEvent(const CLowerCall& call, const CThreadRow& row, const Json& details)
{
    const std::string meaning = Meaning(call);
    Write({{"name", meaning.empty() ? call.name : meaning},
           {"cat", call.name},
           {"ph", "X"},
           {"ts", uint64_t{call.startTick - m_startTick} * kMicrosecondsPerMs},
           {"dur", uint64_t{call.durationMs} * kMicrosecondsPerMs},
           {"pid", kProcessNumber},
           {"tid", row.number},
           {"args", details}});
}

} // namespace zrtmon::host
