/// \file
/// Makes an object with shared ownership, without exceptions.
///
/// The classes of this folder keep their state in an object of its own, the core. A function of the host may destroy
/// the class that has called it. The core is therefore shared: each call into the host holds the core until the call
/// has returned.
#pragma once

#include <memory>
#include <new>
#include <utility>

namespace kiv {

/// \return null if there is no memory.
template <class Type, class... Arguments> std::shared_ptr<Type> makeSharedOrNull(Arguments&&... arguments) noexcept
try {
    return std::make_shared<Type>(std::forward<Arguments>(arguments)...);
} catch (const std::bad_alloc&) {
    return nullptr;
}

} // namespace kiv
