/// A file at the end of a port: it takes every byte and never replies.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "platform/sync.h"
#include "simulator/port_device.h"

namespace zrtmon::sim {

/// Open only makes sure that the file can be written; what it held is gone with the first document or
/// channel. A document in which a write has failed stays failed to its end, which succeeds.
class CCaptureFile final : public IPortDevice {
public:
    explicit CCaptureFile(std::wstring path) : m_path(std::move(path)) {}

    DWORD Open() override;
    void Close() override { m_file.reset(); }
    DWORD Start() override;
    DWORD End(bool) override { return ERROR_SUCCESS; }
    DWORD Write(const BYTE* data, DWORD size, DWORD* count) override;
    DWORD Read(BYTE* buffer, DWORD size, DWORD* count) override;
    DWORD Control(DWORD code, const BYTE* input, DWORD inputSize, BYTE* output, DWORD outputSize,
                  DWORD* count) override;
    CCardPrinter* Printer() override { return nullptr; }
    std::optional<PortFailure> Failure() override;

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    DWORD Reopen(const char* mode);
    void NoteFailure(int error);

    std::wstring m_path;
    std::unique_ptr<std::FILE, Closer> m_file;
    bool m_isEmptied = false;
    bool m_hasFailed = false; ///< in this document
    uint64_t m_takenBytes = 0;
    CCriticalSection m_lock; ///< guards m_failure
    std::optional<PortFailure> m_failure;
};

} // namespace zrtmon::sim
