/// An object of the service whose properties are followed.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <sdbus-c++/sdbus-c++.h>

#include "platform/sync.h"
#include "service/client/bus_service.h"

namespace zrtmon::client {

using CProperties = std::map<std::string, sdbus::Variant>;

/// Any thread.
class CBusObject {
public:
    using OnChange = std::function<void(const CProperties& changed)>;

    /// Asks for all properties once, and takes every change from then on. onChange is called on the
    /// connection's thread, for all of them before this returns; empty: the properties are not followed.
    /// Throws as IPrintService.
    CBusObject(CBusService& bus, const std::string& path, std::string interface, OnChange onChange);
    ~CBusObject();
    CBusObject(const CBusObject&) = delete;
    CBusObject& operator=(const CBusObject&) = delete;

    CBusService& Bus() { return m_bus; }

    /// Calls a method and returns its results. Throws as IPrintService.
    template <class... Results, class... Arguments>
    std::tuple<Results...> Call(const char* method, std::chrono::seconds limit, const Arguments&... arguments)
    {
        std::tuple<Results...> results;
        m_bus.Call([&](const CBusService::CReplyTo& replyTo) {
            m_proxy->callMethodAsync(method)
                .onInterface(m_interface)
                .withTimeout(limit)
                .withArguments(arguments...)
                .uponReplyInvoke([&results, replyTo](const sdbus::Error* error, const Results&... values) {
                    results = std::tie(values...);
                    replyTo(error);
                });
        });
        return results;
    }

private:
    void Follow();
    void AskForAll(const CBusService::CReplyTo& replyTo);

    CBusService& m_bus;
    const std::string m_interface;
    const OnChange m_onChange;
    std::unique_ptr<sdbus::IProxy> m_proxy; ///< of the connection's thread
};

} // namespace zrtmon::client
