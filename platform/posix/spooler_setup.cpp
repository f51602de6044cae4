#include "platform/spooler_setup.h"

namespace zrtmon {
namespace {

/// Packages of this system register nothing with its print service.
class CNoSpoolerSetup final : public ISpoolerSetup {
public:
    DWORD CheckUnused(const std::wstring&) override { return ERROR_NOT_SUPPORTED; }
    DWORD CheckIdle() override { return ERROR_NOT_SUPPORTED; }
    DWORD StopSpooler() override { return ERROR_NOT_SUPPORTED; }
    DWORD StartSpooler() override { return ERROR_NOT_SUPPORTED; }
};

} // namespace

ISpoolerSetup& MachineSpoolerSetup()
{
    static CNoSpoolerSetup setup;
    return setup;
}

} // namespace zrtmon
