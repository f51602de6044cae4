#pragma once

#include <cstddef>

namespace zrtmon {

/// Overwrites what held a password. The writes are volatile: the compiler would drop others before memory is
/// freed.
template <typename Type>
void Wipe(Type* data, size_t count)
{
    for (volatile Type* element = data; count > 0; --count) {
        *element++ = Type{};
    }
}

/// Overwrites and empties a string or a vector.
template <typename Container>
void Wipe(Container& container)
{
    Wipe(container.data(), container.size());
    container.clear();
}

} // namespace zrtmon
