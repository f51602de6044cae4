#include "service/bus/object_path.h"

namespace zrtmon::service {

std::string PrinterPath(std::string_view name)
{
    constexpr char kDigits[] = "0123456789abcdef";
    std::string path = std::string(kManagerPath) + "/printers/";
    for (const char character : name) {
        const auto byte = static_cast<unsigned char>(character);
        const bool isPlain =
            (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
        if (isPlain) {
            path += character;
        } else {
            path += {'_', kDigits[byte >> 4], kDigits[byte & 0xF]};
        }
    }
    return path;
}

std::string JobPath(uint64_t id) { return std::string(kManagerPath) + "/jobs/" + std::to_string(id); }

} // namespace zrtmon::service
