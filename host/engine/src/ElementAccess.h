// Typed access to the engine's untyped tensor buffers, shared by its own kernels: element types
// to C++ types, loads and stores that promise nothing about alignment, TFLite's CAST rules, and
// loops the compiler vectorises.
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

// Element-wise loops over buffers that do not overlap, in blocks of a fixed length so that the
// compiler vectorises them at every optimisation level: the edge operators run on whole frames
// (a threshold and a cast per label of a 456x342 map).
template <typename Body>
void forEachElement(size_t count, Body body) {
    constexpr size_t kBlock = 16;
    size_t i = 0;
    for (; i + kBlock <= count; i += kBlock) {
        for (size_t k = 0; k < kBlock; ++k) {
            body(i + k);
        }
    }
    for (; i < count; ++i) {
        body(i);
    }
}

template <typename To, typename From>
void castElements(const uint8_t* __restrict src, uint8_t* __restrict dst, size_t count) {
    forEachElement(
        count, [src, dst](size_t i) { store<To>(dst, i, convertValue<To>(load<From>(src, i))); });
}

template <typename To, typename T, typename Compare>
void compareWithScalar(const uint8_t* __restrict src, T threshold, uint8_t* __restrict dst,
                       size_t count, Compare compare) {
    forEachElement(count, [src, threshold, dst, compare](size_t i) {
        store<To>(dst, i, convertValue<To>(compare(load<T>(src, i), threshold)));
    });
}

}  // namespace elements
}  // namespace hostengine
