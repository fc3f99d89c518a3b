/// \file
/// What a target holds after a take that failed: zeros and empty texts, nothing that could pass for data.
#pragma once

#include <kiv/records/detail/Layout.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>

namespace kiv {

/// Empties a value. Types with operators of their own are left as these have left them.
template <class T> void makeEmpty(T& value)
{
    constexpr Kind kind = kindOf<T>;
    if constexpr (isOneNumber<T>() || kind == Kind::view) {
        value = T{};
    } else if constexpr (kind == Kind::characters) {
        std::memset(value, 0, sizeof value);
    } else if constexpr (kind == Kind::text || kind == Kind::path || kind == Kind::sequence || kind == Kind::set ||
                         kind == Kind::map) {
        value.clear();
    } else if constexpr (kind == Kind::optional) {
        value.reset();
    } else if constexpr (kind == Kind::variant) {
        // The first alternative, if it can be made without asking for memory. Otherwise the one that is there, emptied.
        using First = std::variant_alternative_t<0, T>;
        if constexpr (std::is_nothrow_default_constructible_v<First>)
            value.template emplace<0>();
        else if (!value.valueless_by_exception())
            std::visit([](auto& alternative) { makeEmpty(alternative); }, value);
    } else if constexpr (kind == Kind::array) {
        for (auto& element : value)
            makeEmpty(element);
    } else if constexpr (kind == Kind::tuple || kind == Kind::record || kind == Kind::versioned) {
        std::apply([](auto&... parts) { (makeEmpty(parts), ...); }, partsOf(value));
    }
}

} // namespace kiv
