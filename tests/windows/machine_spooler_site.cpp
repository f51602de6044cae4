#include "tests/support/spooler_site.h"

namespace zrtmon::test {
namespace {

class CMachineSite final : public ISpoolerSite {
public:
    ISystemSpooler& Spooler() override { return MachineSpooler(); }
};

} // namespace

std::unique_ptr<ISpoolerSite> MakeSpoolerSite() { return std::make_unique<CMachineSite>(); }

} // namespace zrtmon::test
