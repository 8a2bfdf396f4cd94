// Tensor contents between the engine's raw bytes and the reference's doubles, so that the engine
// and the reference interpreter are fed and compared on the same numbers.
#pragma once

#include <cstdint>
#include <vector>

#include "HostEngine.h"
#include "ReferenceOps.h"

namespace enginetest {

// Float16 is decoded from its bit fields; integers and booleans become plain numbers.
RefTensor fromBytes(hostengine::ElementType type, const std::vector<int32_t>& shape,
                    const std::vector<uint8_t>& bytes);

// Values are converted as the model's inputs take them. No model input is float16, so that type
// gives no bytes and the engine refuses them with its size message.
std::vector<uint8_t> toBytes(const RefTensor& tensor, hostengine::ElementType type);

}  // namespace enginetest
