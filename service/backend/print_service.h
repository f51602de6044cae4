/// The print service as a backend needs it. The tests put a script in its place.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zrtmon::backend {

struct CPrintOrder {
    std::string printer;
    std::string title;
    std::string owner;
    std::string uuid; ///< empty: none
    int data = -1;    ///< a regular file at its beginning; borrowed
};

/// The properties of a job on the bus.
struct CJobStatus {
    std::string state;
    std::string reason;
    int category = 1;
    bool wantsPassword = false;
    uint64_t bytes = 0;
    uint64_t total = 0;
    int cards = 0;
};

/// Why the service did not take a job.
enum class Refusal {
    NotNow,   ///< it may later: the service or the printer is not there, or another reason that time or a
              ///< person removes
    Known,    ///< a job of that uuid runs, was printed, or was interrupted
    NotValid, ///< it never will
};

/// What the service reports. Called one at a time, on the thread of the event loop.
class IPrintEvents {
public:
    virtual ~IPrintEvents() = default;
    virtual void OnAccepted() = 0;
    virtual void OnRefused(Refusal refusal, const std::string& message) = 0;
    virtual void OnJobChanged(const CJobStatus& job) = 0;
    virtual void OnAnswer(const std::string& valueName, const std::string& answer) = 0;
    /// The service has ended, or the bus. What becomes of the job shows only when it is offered again.
    virtual void OnServiceLost() = 0;
};

class IPrintService {
public:
    virtual ~IPrintService() = default;
    /// Offers the job. OnAccepted or OnRefused follows, possibly before this returns; or OnServiceLost.
    virtual void Print(const CPrintOrder& order) = 0;
    /// Queries the printer; OnAnswer follows, or nothing if the query fails.
    virtual void Query(const std::string& printer, const std::string& valueName) = 0;

    // Of the job that was accepted. They wait for the service for at most kCallMs, and return false if it
    // refuses or does not reply.
    static constexpr int64_t kCallMs = 2000;
    virtual bool Cancel() = 0;
    virtual bool SupplyPassword(std::string_view password) = 0; ///< the printer's 8-bit text
    virtual bool Acknowledge() = 0;
};

} // namespace zrtmon::backend
