#include "platform/system_spooler.h"

namespace zrtmon {
namespace {

class CNoSystemSpooler final : public ISystemSpooler {
public:
    DWORD ListQueues(std::vector<CQueueEntry>* queues) override
    {
        queues->clear();
        return ERROR_NOT_SUPPORTED;
    }
    DWORD Open(const std::wstring& /*printerName*/, DWORD /*access*/,
               std::unique_ptr<ISpoolerQueue>* queue) override
    {
        queue->reset();
        return ERROR_NOT_SUPPORTED;
    }
};

} // namespace

ISystemSpooler& MachineSpooler()
{
    static CNoSystemSpooler spooler;
    return spooler;
}

} // namespace zrtmon
