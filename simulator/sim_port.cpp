#include "simulator/sim_port.h"

#include <utility>

namespace zrtmon::sim {

namespace {

constexpr size_t kKeptTexts = 64;
constexpr DWORD kPlainLevel = 1;
constexpr DWORD kModeLevel = 2;

bool IsChannel(DWORD level, const BYTE* info)
{
    return level == kModeLevel && reinterpret_cast<const DOC_INFO_2W*>(info)->dwMode == DI_CHANNEL;
}

} // namespace

CSimPort::CSimPort(std::wstring name, std::unique_ptr<IPortDevice> device)
    : m_name(std::move(name)), m_device(std::move(device))
{
}

DWORD CSimPort::Open()
{
    CSectionHold hold(m_lock);
    if (m_view.open) {
        return Misuse("OpenPort of a port that is open", ERROR_BUSY);
    }
    const DWORD error = m_device->Open();
    m_view.open = error == ERROR_SUCCESS;
    return error;
}

DWORD CSimPort::Close()
{
    CSectionHold hold(m_lock);
    if (!m_view.open) {
        return Misuse("ClosePort of a closed port", ERROR_INVALID_HANDLE);
    }
    if (std::exchange(m_view.documentOpen, false)) {
        m_device->End(std::exchange(m_view.channelOpen, false));
        Misuse("ClosePort with a document or channel open", ERROR_SUCCESS);
    }
    m_device->Close();
    m_view.open = false;
    return ERROR_SUCCESS;
}

DWORD CSimPort::Start(DWORD level, const BYTE* info)
{
    CSectionHold hold(m_lock);
    if (!m_view.open) {
        return Misuse("StartDocPort on a closed port", ERROR_INVALID_HANDLE);
    }
    if (!info || (level != kPlainLevel && level != kModeLevel)) {
        return ERROR_INVALID_PARAMETER;
    }
    if (m_view.documentOpen) {
        return Misuse("StartDocPort with a document or channel open", ERROR_BUSY);
    }
    const bool isChannel = IsChannel(level, info);
    if (!isChannel) {
        m_documentFailure.reset();
    }
    const DWORD error = m_device->Start();
    if (error == ERROR_SUCCESS) {
        m_view.documentOpen = true;
        m_view.channelOpen = isChannel;
        ++(m_view.channelOpen ? m_view.channels : m_view.documents);
    }
    return error;
}

DWORD CSimPort::End()
{
    CSectionHold hold(m_lock);
    if (!m_view.open) {
        return Misuse("EndDocPort on a closed port", ERROR_INVALID_HANDLE);
    }
    if (!std::exchange(m_view.documentOpen, false)) {
        return Misuse("EndDocPort without a document or channel", ERROR_GEN_FAILURE);
    }
    const bool wasChannel = std::exchange(m_view.channelOpen, false);
    const DWORD error = m_device->End(wasChannel);
    if (!wasChannel) {
        m_documentFailure = m_device->Failure();
    }
    return error;
}

DWORD CSimPort::Write(const BYTE* data, DWORD size, DWORD* written)
{
    CSectionHold hold(m_lock);
    if (!written || (!data && size > 0)) {
        return ERROR_INVALID_PARAMETER;
    }
    *written = 0;
    if (!m_view.open || !m_view.documentOpen) {
        return Misuse("WritePort without a document or channel",
                      m_view.open ? ERROR_GEN_FAILURE : ERROR_INVALID_HANDLE);
    }
    const DWORD error = m_device->Write(data, size, written);
    ++m_view.writes;
    m_view.bytesWritten += *written;
    return error;
}

DWORD CSimPort::Read(BYTE* buffer, DWORD size, DWORD* read)
{
    CSectionHold hold(m_lock);
    if (!read || (!buffer && size > 0)) {
        return ERROR_INVALID_PARAMETER;
    }
    *read = 0;
    if (!m_view.open || !m_view.documentOpen) {
        return Misuse("ReadPort without a document or channel",
                      m_view.open ? ERROR_GEN_FAILURE : ERROR_INVALID_HANDLE);
    }
    const DWORD error = m_device->Read(buffer, size, read);
    ++m_view.reads;
    m_view.bytesRead += *read;
    return error;
}

DWORD CSimPort::Control(DWORD code, const BYTE* input, DWORD inputSize, BYTE* output, DWORD outputSize,
                        DWORD* returned)
{
    CSectionHold hold(m_lock);
    if (!returned) {
        return ERROR_INVALID_PARAMETER;
    }
    *returned = 0;
    if (!m_view.open) {
        return Misuse("GetPrinterDataFromPort on a closed port", ERROR_INVALID_HANDLE);
    }
    ++m_view.controls;
    return m_device->Control(code, input, inputSize, output, outputSize, returned);
}

CCardPrinter* CSimPort::Printer()
{
    CSectionHold hold(m_lock);
    return m_view.open ? m_device->Printer() : nullptr;
}

PortView CSimPort::View()
{
    CSectionHold hold(m_lock);
    return m_view;
}

std::optional<PortFailure> CSimPort::DocumentFailure()
{
    CSectionHold hold(m_lock);
    return m_documentFailure;
}

/// Counts a call that did not suit the port's state; returns error. The lock is held.
DWORD CSimPort::Misuse(const char* text, DWORD error)
{
    ++m_view.misuses;
    if (m_view.misuseTexts.size() < kKeptTexts) {
        m_view.misuseTexts.emplace_back(text);
    }
    return error;
}

} // namespace zrtmon::sim
