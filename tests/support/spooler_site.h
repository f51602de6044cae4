/// Where the tests of ISystemSpooler find one with the printers of tests/support/test_queues.h: in this
/// process, on the virtual clock; or, on Windows, that of the machine, which the stand-in for winspool.drv
/// passes on to its own process.
#pragma once

#include <memory>

#include "platform/system_spooler.h"

namespace zrtmon::test {

class ISpoolerSite {
public:
    virtual ~ISpoolerSite() = default;
    /// Borrowed from the site.
    virtual ISystemSpooler& Spooler() = 0;
};

std::unique_ptr<ISpoolerSite> MakeSpoolerSite();

} // namespace zrtmon::test
