#include "platform/virtual_clock.h"
#include "tests/support/spooler_fixture.h"
#include "tests/support/spooler_site.h"
#include "tests/support/test_queues.h"

namespace zrtmon::test {
namespace {

class CInProcessSite final : public ISpoolerSite {
public:
    CInProcessSite()
    {
        for (const CTestQueueOptions& queue : TestQueues()) {
            m_spooler.Add(queue);
        }
    }

    ISystemSpooler& Spooler() override { return m_spooler; }

private:
    CVirtualClock m_clock{CVirtualClock::kBeforeWrap};
    CTestSpooler m_spooler{*LoadEntryPoints(), nullptr};
};

} // namespace

std::unique_ptr<ISpoolerSite> MakeSpoolerSite() { return std::make_unique<CInProcessSite>(); }

} // namespace zrtmon::test
