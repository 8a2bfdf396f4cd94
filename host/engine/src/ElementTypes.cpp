#include <limits>

#include "ModelGraph.h"

namespace hostengine {

size_t elementSize(ElementType type) {
    switch (type) {
        case ElementType::Float32:
        case ElementType::Int32:
            return 4;
        case ElementType::Float16:
            return 2;
        case ElementType::Uint8:
        case ElementType::Int8:
        case ElementType::Bool:
            return 1;
        case ElementType::Int64:
            return 8;
        case ElementType::None:
            break;
    }
    return 0;
}

const char* elementTypeName(ElementType type) {
    switch (type) {
        case ElementType::Float32:
            return "FLOAT32";
        case ElementType::Float16:
            return "FLOAT16";
        case ElementType::Int32:
            return "INT32";
        case ElementType::Uint8:
            return "UINT8";
        case ElementType::Int8:
            return "INT8";
        case ElementType::Int64:
            return "INT64";
        case ElementType::Bool:
            return "BOOL";
        case ElementType::None:
            break;
    }
    return "NONE";
}

size_t GraphTensor::elementCount() const {
    size_t count = 1;
    for (int32_t dim : shape) {
        count *= static_cast<size_t>(dim);
    }
    return count;
}

size_t GraphTensor::byteSize() const {
    return elementCount() * elementSize(type);
}

}  // namespace hostengine
