#include "service/client/bus_object.h"

namespace zrtmon::client {
namespace {

constexpr char kBusName[] = "org.zrtmon";
constexpr char kProperties[] = "org.freedesktop.DBus.Properties";
constexpr std::chrono::seconds kPropertiesLimit{30};

} // namespace

CBusObject::CBusObject(CBusService& bus, const std::string& path, std::string interface, OnChange onChange)
    : m_bus(bus), m_interface(std::move(interface)), m_onChange(std::move(onChange))
{
    try {
        m_bus.Call([&](const CBusService::CReplyTo& replyTo) {
            m_proxy = sdbus::createProxy(m_bus.Connection(), kBusName, path);
            if (!m_onChange) {
                replyTo(nullptr);
                return;
            }
            Follow(); // before the question: no change in between is missed
            AskForAll(replyTo);
        });
    } catch (...) {
        m_bus.Run([this] { m_proxy.reset(); });
        throw;
    }
}

CBusObject::~CBusObject()
{
    m_bus.Run([this] { m_proxy.reset(); });
}

void CBusObject::Follow()
{
    m_proxy->uponSignal("PropertiesChanged")
        .onInterface(kProperties)
        .call([this](const std::string& interface, const CProperties& changed,
                     const std::vector<std::string>&) {
            if (interface == m_interface) {
                m_onChange(changed);
                m_bus.NoteChange();
            }
        });
    m_proxy->finishRegistration();
}

void CBusObject::AskForAll(const CBusService::CReplyTo& replyTo)
{
    m_proxy->callMethodAsync("GetAll")
        .onInterface(kProperties)
        .withTimeout(kPropertiesLimit)
        .withArguments(m_interface)
        .uponReplyInvoke([this, replyTo](const sdbus::Error* error, const CProperties& all) {
            if (!error) {
                m_onChange(all);
            }
            replyTo(error);
        });
}

} // namespace zrtmon::client
