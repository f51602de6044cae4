/// A print service that does as a test says, in place of the one on the bus.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/sync.h"
#include "service/client/print_service.h"
#include "tests/host/support/host_fixture.h"

namespace zrtmon::test {

/// One printer, "Cards", and one job, which is on the bus as ".../7". Changes come at times of the virtual
/// clock, on the thread of the command.
class CScriptedService final : public client::IPrintService {
public:
    /// Milliseconds after the construction.
    void At(DWORD milliseconds, std::function<void()> change);
    /// Calls of a method so far.
    size_t Count(const std::string& method) const;
    void LoseWith(client::CServiceLost::Cause cause, const std::string& message);

    client::CPrinterStatus printer{.port = "sim:", .state = "idle", .message = {}, .cardCount = 100};
    client::CJobStatus job{.id = 7, .state = "waiting", .reason = {}};
    std::map<std::string, std::string> answers; ///< by request text
    /// By method: the name of the error on the bus after "org.zrtmon.Error.", and its text.
    std::map<std::string, std::pair<std::string, std::string>> refusals;
    std::vector<std::string> calls; ///< the methods that were called, with their arguments
    std::string printed;            ///< what the descriptor held
    std::vector<host::CListedJob> journal;

    std::vector<CPrinterName> Printers() override;
    std::unique_ptr<client::IRemotePrinter> FollowPrinter(const std::string& object) override;
    std::vector<host::CListedJob> Jobs(int64_t since) override;
    bool WaitForChange(uint64_t* seen, DWORD milliseconds) override;

    // Of the objects.
    void Note(const std::string& method, const std::string& arguments = {});
    /// What is due has happened.
    void Advance();
    void ThrowIfLost() const;

private:
    struct CChange {
        DWORD at;
        std::function<void()> change;
    };

    DWORD m_start = GetTickCount();
    std::deque<CChange> m_due; ///< in the order of their times
    uint64_t m_changes = 0;
    std::optional<client::CServiceLost> m_loss;
};

/// The command line above a scripted service.
struct CServiceFixture : CHostFixture {
    CServiceFixture();

    std::shared_ptr<CScriptedService> service = std::make_shared<CScriptedService>();
};

} // namespace zrtmon::test
