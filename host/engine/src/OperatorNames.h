// TFLite's builtin operator codes and names, and how they map onto the engine's OpKind.
#pragma once

#include <cstdint>

#include "ModelGraph.h"

namespace hostengine {

// The custom code MediaPipe gives its transposed convolution with a bias input.
extern const char* const kTransposeConvBiasCustomCode;

// Name of a builtin operator code as TFLite spells it, or nullptr for a code it never defined.
const char* builtinOperatorName(int32_t code);

// The OpKind of a builtin operator code; false when the engine does not know the operator.
bool opKindFromBuiltin(int32_t code, OpKind* kind);

// The builtin operator code of an OpKind; -1 for operators that are custom in TFLite files.
int32_t builtinCodeOf(OpKind kind);

}  // namespace hostengine
