// Typed access to the engine's untyped tensor buffers, shared by its own kernels: element types
// to C++ types, loads and stores that promise nothing about alignment, and TFLite's CAST rules.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "ModelGraph.h"

namespace hostengine {
namespace elements {

template <typename T>
struct Tag {
    using type = T;
};

// Calls f(Tag<T>{}) with the C++ type of an element type (FLOAT16 never reaches the kernels).
template <typename F>
void dispatch(ElementType type, F&& f) {
    switch (type) {
        case ElementType::Float32:
            return f(Tag<float>{});
        case ElementType::Int32:
            return f(Tag<int32_t>{});
        case ElementType::Uint8:
            return f(Tag<uint8_t>{});
        case ElementType::Int8:
            return f(Tag<int8_t>{});
        case ElementType::Int64:
            return f(Tag<int64_t>{});
        case ElementType::Bool:
            return f(Tag<bool>{});
        case ElementType::Float16:
        case ElementType::None:
            return;
    }
}

// Element access through memcpy: buffers carry no alignment or type promise, and a bool byte
// that is neither 0 nor 1 must still read as a truth value.
template <typename T>
T load(const uint8_t* base, size_t i) {
    if constexpr (std::is_same_v<T, bool>) {
        return base[i] != 0;
    } else {
        T value;
        std::memcpy(&value, base + i * sizeof(T), sizeof(T));
        return value;
    }
}

template <typename T>
void store(uint8_t* base, size_t i, T value) {
    if constexpr (std::is_same_v<T, bool>) {
        base[i] = value ? 1 : 0;
    } else {
        std::memcpy(base + i * sizeof(T), &value, sizeof(T));
    }
}

// TFLite's CAST truncates towards zero; values outside the target range saturate and NaN becomes
// 0, where C++ would leave the result undefined.
template <typename To, typename From>
To convertValue(From value) {
    if constexpr (std::is_same_v<To, bool>) {
        return value != From(0);
    } else if constexpr (std::is_floating_point_v<From> && std::is_integral_v<To>) {
        if (std::isnan(value)) {
            return 0;
        }
        if (value <= static_cast<From>(std::numeric_limits<To>::lowest())) {
            return std::numeric_limits<To>::lowest();
        }
        if (value >= static_cast<From>(std::numeric_limits<To>::max())) {
            return std::numeric_limits<To>::max();
        }
        return static_cast<To>(value);
    } else {
        return static_cast<To>(value);
    }
}

}  // namespace elements
}  // namespace hostengine
