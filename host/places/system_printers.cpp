#include "host/places/system_printers.h"

#include <string_view>

#include "host/text/text.h"
#include "simulator/nearest_name.h"

namespace zrtmon::host {

std::string NoSuchPrinterText(const std::string& name, const std::vector<std::string>& known)
{
    const std::vector<std::string_view> names(known.begin(), known.end());
    const std::string_view nearest = sim::Nearest(name, names);
    return PrintableInput(name) + ": no such printer" +
           (nearest.empty()
                ? std::string("; zrtctl printers lists them, and --port sim: is the simulated one")
                : sim::DidYouMean(nearest));
}

} // namespace zrtmon::host
