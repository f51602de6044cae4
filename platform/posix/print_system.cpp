#include "platform/print_system.h"

#include <sys/utsname.h>

namespace zrtmon {
namespace {

class CPrintSystem final : public IPrintSystem {
public:
    DWORD AddMonitor(const std::wstring& /*name*/, const std::wstring& /*library*/) override
    {
        return ERROR_NOT_SUPPORTED;
    }
    DWORD RemoveMonitor(const std::wstring& /*name*/) override { return ERROR_NOT_SUPPORTED; }
    DWORD ListMonitors(std::vector<CMonitorEntry>* monitors) override
    {
        monitors->clear();
        return ERROR_NOT_SUPPORTED;
    }

    bool IsMappedDrive(const std::wstring& /*path*/) override { return false; }

    std::vector<CDiagnostic> Examine(const std::wstring& /*monitor*/, const std::string& /*target*/) override
    {
        utsname system{};
        uname(&system);
        return {{"system", std::string(system.sysname) + ' ' + system.release + ", " + system.machine, ""}};
    }
};

} // namespace

IPrintSystem& MachinePrintSystem()
{
    static CPrintSystem system;
    return system;
}

} // namespace zrtmon
