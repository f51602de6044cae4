// Compares each declaration of platform/posix/win32_api.h with the SDK's of the same name. There is nothing
// to run: a value, a size, an offset or a type that differs does not compile.
//
// win32_api_entries.inc lists the declarations, one macro call each, and is made from the header by the
// build. What the SDK defines as a macro cannot be named once the SDK is included, so the values are kept
// before that.
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wattributes" // visibility, which this system's object files do not have
namespace posix {
#include "platform/posix/win32_api.h"
}
#pragma GCC diagnostic pop
#undef WINAPI
#undef APIENTRY
#undef ZRT_PLATFORM_API

#define API_TYPE(name)
#define API_FORWARD(name)
#define API_STRUCT(name)
#define API_OPAQUE(name)
#define API_FIELD(structure, name)
#define API_FUNCTION(name)
#define API_CONSTANT(name) constexpr auto k##name = posix::name;
#include "win32_api_entries.inc"
#undef API_CONSTANT
#undef API_TYPE
#undef API_FORWARD
#undef API_STRUCT
#undef API_OPAQUE
#undef API_FIELD
#undef API_FUNCTION

#include "platform/win32.h"

namespace {

/// Whether a type of the header is the SDK's: integers of one size and signedness, structures of one name,
/// and pointers, arrays and functions made of such.
template <typename Given, typename System>
constexpr bool kSame = std::is_same_v<Given, System>;

template <std::integral Given, std::integral System>
constexpr bool kSame<Given, System> =
    sizeof(Given) == sizeof(System) &&
    std::is_signed_v<Given> == std::is_signed_v<System>&& std::is_const_v<Given> == std::is_const_v<System>;

template <typename Given, typename System>
constexpr bool kSame<const Given, const System> = kSame<Given, System>;

template <typename Given, typename System>
constexpr bool kSame<Given*, System*> = kSame<Given, System>;

template <typename Given, typename System, size_t kCount>
constexpr bool kSame<Given[kCount], System[kCount]> = kSame<Given, System>;

// The SDK's functions have WINAPI; elsewhere that is nothing.
template <typename Given, typename... GivenArguments, typename System, typename... SystemArguments>
constexpr bool kSame<Given(GivenArguments...), System WINAPI(SystemArguments...)> =
    kSame<Given, System> && (kSame<GivenArguments, SystemArguments> && ...);

template <typename Given, typename... Arguments, typename System>
constexpr bool kSame<Given(Arguments...) noexcept, System> = kSame<Given(Arguments...), System>;

// Handles that the SDK keeps apart.
template <>
constexpr bool kSame<posix::HMODULE, HMODULE> = true;
template <>
constexpr bool kSame<posix::HWND, HWND> = true;
template <>
constexpr bool kSame<posix::HANDLE, HKEYMONITOR> = true;

} // namespace

// Structures of one name are the same type for what follows; their fields are compared below.
#define API_CONSTANT(name)
#define API_TYPE(name)
#define API_FIELD(structure, name)
#define API_FUNCTION(name)
#define API_FORWARD(name)                                                                                    \
    template <>                                                                                              \
    constexpr bool kSame<posix::name, ::name> = true;
#define API_STRUCT(name) API_FORWARD(name)
#define API_OPAQUE(name) API_FORWARD(name)
namespace {
#include "win32_api_entries.inc"
}
#undef API_CONSTANT
#undef API_TYPE
#undef API_FIELD
#undef API_FUNCTION
#undef API_FORWARD
#undef API_STRUCT
#undef API_OPAQUE

#define API_CONSTANT(name) static_assert(std::cmp_equal(k##name, name), #name " has another value");
#define API_TYPE(name) static_assert(kSame<posix::name, ::name>, #name " is another type");
#define API_FORWARD(name)
#define API_STRUCT(name) static_assert(sizeof(posix::name) == sizeof(::name), #name " has another size");
#define API_OPAQUE(name)
#define API_FIELD(structure, name)                                                                           \
    static_assert(offsetof(posix::structure, name) == offsetof(::structure, name) &&                         \
                      kSame<decltype(posix::structure::name), decltype(::structure::name)>,                  \
                  #structure "::" #name " is at another place or of another type");
#define API_FUNCTION(name)                                                                                   \
    static_assert(kSame<decltype(posix::name), decltype(::name)>, #name " has another signature");
#include "win32_api_entries.inc"

// usb_print.h repeats what the user-mode headers lack.
namespace {
constexpr uint32_t kSetCommand = zrtmon::IOCTL_USBPRINT_VENDOR_SET_COMMAND;
constexpr uint32_t kGetCommand = zrtmon::IOCTL_USBPRINT_VENDOR_GET_COMMAND;
constexpr uint32_t kQueryDeviceId = zrtmon::IOCTL_PAR_QUERY_DEVICE_ID;
} // namespace
#include <ntddpar.h>
#include <usbprint.h>
#include <winioctl.h>
static_assert(kSetCommand == IOCTL_USBPRINT_VENDOR_SET_COMMAND &&
              kGetCommand == IOCTL_USBPRINT_VENDOR_GET_COMMAND &&
              kQueryDeviceId == IOCTL_PAR_QUERY_DEVICE_ID);
