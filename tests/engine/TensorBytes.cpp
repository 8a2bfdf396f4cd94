#include "TensorBytes.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace enginetest {

using hostengine::ElementType;

namespace {

// Calls fn(T()) with the C++ type of one stored element; float16 comes as its bit pattern.
template <typename Fn>
void withStorageType(ElementType type, Fn&& fn) {
    switch (type) {
        case ElementType::Float32:
            return fn(float());
        case ElementType::Float16:
            return fn(uint16_t());
        case ElementType::Int32:
            return fn(int32_t());
        case ElementType::Int64:
            return fn(int64_t());
        case ElementType::Uint8:
        case ElementType::Bool:
            return fn(uint8_t());
        case ElementType::Int8:
            return fn(int8_t());
        case ElementType::None:
            return;
    }
}

// IEEE half precision, decoded from the bit fields rather than by the engine's own conversion.
double halfToDouble(uint16_t half) {
    const int sign = (half >> 15) ? -1 : 1;
    const int exponent = (half >> 10) & 0x1f;
    const int mantissa = half & 0x3ff;
    if (exponent == 0) {
        return sign * std::ldexp(mantissa, -24);
    }
    if (exponent == 31) {
        return mantissa == 0 ? sign * std::numeric_limits<double>::infinity()
                             : std::numeric_limits<double>::quiet_NaN();
    }
    return sign * std::ldexp(1024 + mantissa, exponent - 25);
}

}  // namespace

RefTensor fromBytes(ElementType type, const std::vector<int32_t>& shape,
                    const std::vector<uint8_t>& bytes) {
    RefTensor t;
    t.shape = shape;
    withStorageType(type, [&](auto zero) {
        using T = decltype(zero);
        t.values.resize(bytes.size() / sizeof(T));
        for (size_t i = 0; i < t.values.size(); ++i) {
            T v;
            std::memcpy(&v, bytes.data() + i * sizeof(T), sizeof(T));
            if constexpr (std::is_same<T, uint16_t>::value) {
                t.values[i] = halfToDouble(v);
            } else {
                t.values[i] = static_cast<double>(v);
            }
        }
    });
    return t;
}

std::vector<uint8_t> toBytes(const RefTensor& tensor, ElementType type) {
    std::vector<uint8_t> bytes;
    if (type == ElementType::Float16) {
        return bytes;
    }
    withStorageType(type, [&](auto zero) {
        using T = decltype(zero);
        bytes.resize(tensor.values.size() * sizeof(T));
        for (size_t i = 0; i < tensor.values.size(); ++i) {
            const T v = static_cast<T>(tensor.values[i]);
            std::memcpy(bytes.data() + i * sizeof(T), &v, sizeof(T));
        }
    });
    return bytes;
}

}  // namespace enginetest
