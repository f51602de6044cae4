/// An object that exists from its first use to the end of the process.
#pragma once

#include <cstddef>
#include <new>

namespace zrtmon {

/// The one Object of its type. No destructor ends it, since static destructors of other modules may still use
/// it. Thread-safe; needs no memory except what Object's constructor takes.
template <class Object>
Object& NeverDestroyed()
{
    alignas(Object) static std::byte storage[sizeof(Object)];
    static Object* const object = new (storage) Object;
    return *object;
}

} // namespace zrtmon
