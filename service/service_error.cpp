#include "service/service_error.h"

namespace zrtmon::service {

std::string CServiceError::BusName() const
{
    constexpr const char* kNames[] = {"AccessDenied", "NoSuchPrinter", "NoSuchName", "WrongKind",  "Busy",
                                      "NoDevice",     "PrinterError",  "NotServed",  "BadData",    "TooLarge",
                                      "Stopping",     "Printed",       "Running",    "Interrupted"};
    return std::string("org.zrtmon.Error.") + kNames[static_cast<size_t>(m_name)];
}

} // namespace zrtmon::service
