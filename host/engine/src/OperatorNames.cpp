#include "OperatorNames.h"

#include <iterator>

namespace hostengine {

const char* const kTransposeConvBiasCustomCode = "Convolution2DTransposeBias";

namespace {

// Indexed by builtin code; TFLite numbers its builtins densely from 0.
const char* const kBuiltinNames[] = {
    "ADD",
    "AVERAGE_POOL_2D",
    "CONCATENATION",
    "CONV_2D",
    "DEPTHWISE_CONV_2D",
    "DEPTH_TO_SPACE",
    "DEQUANTIZE",
    "EMBEDDING_LOOKUP",
    "FLOOR",
    "FULLY_CONNECTED",
    "HASHTABLE_LOOKUP",
    "L2_NORMALIZATION",
    "L2_POOL_2D",
    "LOCAL_RESPONSE_NORMALIZATION",
    "LOGISTIC",
    "LSH_PROJECTION",
    "LSTM",
    "MAX_POOL_2D",
    "MUL",
    "RELU",
    "RELU_N1_TO_1",
    "RELU6",
    "RESHAPE",
    "RESIZE_BILINEAR",
    "RNN",
    "SOFTMAX",
    "SPACE_TO_DEPTH",
    "SVDF",
    "TANH",
    "CONCAT_EMBEDDINGS",
    "SKIP_GRAM",
    "CALL",
    "CUSTOM",
    "EMBEDDING_LOOKUP_SPARSE",
    "PAD",
    "UNIDIRECTIONAL_SEQUENCE_RNN",
    "GATHER",
    "BATCH_TO_SPACE_ND",
    "SPACE_TO_BATCH_ND",
    "TRANSPOSE",
    "MEAN",
    "SUB",
    "DIV",
    "SQUEEZE",
    "UNIDIRECTIONAL_SEQUENCE_LSTM",
    "STRIDED_SLICE",
    "BIDIRECTIONAL_SEQUENCE_RNN",
    "EXP",
    "TOPK_V2",
    "SPLIT",
    "LOG_SOFTMAX",
    "DELEGATE",
    "BIDIRECTIONAL_SEQUENCE_LSTM",
    "CAST",
    "PRELU",
    "MAXIMUM",
    "ARG_MAX",
    "MINIMUM",
    "LESS",
    "NEG",
    "PADV2",
    "GREATER",
    "GREATER_EQUAL",
    "LESS_EQUAL",
    "SELECT",
    "SLICE",
    "SIN",
    "TRANSPOSE_CONV",
    "SPARSE_TO_DENSE",
    "TILE",
    "EXPAND_DIMS",
    "EQUAL",
    "NOT_EQUAL",
    "LOG",
    "SUM",
    "SQRT",
    "RSQRT",
    "SHAPE",
    "POW",
    "ARG_MIN",
    "FAKE_QUANT",
    "REDUCE_PROD",
    "REDUCE_MAX",
    "PACK",
    "LOGICAL_OR",
    "ONE_HOT",
    "LOGICAL_AND",
    "LOGICAL_NOT",
    "UNPACK",
    "REDUCE_MIN",
    "FLOOR_DIV",
    "REDUCE_ANY",
    "SQUARE",
    "ZEROS_LIKE",
    "FILL",
    "FLOOR_MOD",
    "RANGE",
    "RESIZE_NEAREST_NEIGHBOR",
    "LEAKY_RELU",
    "SQUARED_DIFFERENCE",
    "MIRROR_PAD",
    "ABS",
    "SPLIT_V",
    "UNIQUE",
    "CEIL",
    "REVERSE_V2",
    "ADD_N",
    "GATHER_ND",
    "COS",
    "WHERE",
    "RANK",
    "ELU",
    "REVERSE_SEQUENCE",
    "MATRIX_DIAG",
    "QUANTIZE",
    "MATRIX_SET_DIAG",
    "ROUND",
    "HARD_SWISH",
    "IF",
    "WHILE",
    "NON_MAX_SUPPRESSION_V4",
    "NON_MAX_SUPPRESSION_V5",
    "SCATTER_ND",
    "SELECT_V2",
    "DENSIFY",
    "SEGMENT_SUM",
    "BATCH_MATMUL",
    "PLACEHOLDER_FOR_GREATER_OP_CODES",
    "CUMSUM",
    "CALL_ONCE",
    "BROADCAST_TO",
    "RFFT2D",
    "CONV_3D",
    "IMAG",
    "REAL",
    "COMPLEX_ABS",
    "HASHTABLE",
    "HASHTABLE_FIND",
    "HASHTABLE_IMPORT",
    "HASHTABLE_SIZE",
    "REDUCE_ALL",
    "CONV_3D_TRANSPOSE",
    "VAR_HANDLE",
    "READ_VARIABLE",
    "ASSIGN_VARIABLE",
    "BROADCAST_ARGS",
    "RANDOM_STANDARD_NORMAL",
    "BUCKETIZE",
    "RANDOM_UNIFORM",
    "MULTINOMIAL",
    "GELU",
    "DYNAMIC_UPDATE_SLICE",
    "RELU_0_TO_1",
    "UNSORTED_SEGMENT_PROD",
    "UNSORTED_SEGMENT_MAX",
    "UNSORTED_SEGMENT_SUM",
    "ATAN2",
    "UNSORTED_SEGMENT_MIN",
    "SIGN",
    "BITCAST",
    "BITWISE_XOR",
    "RIGHT_SHIFT",
};

struct KindCode {
    OpKind kind;
    int32_t code;  // -1: a custom operator
};

const KindCode kKindCodes[] = {
    {OpKind::Add, 0},
    {OpKind::AveragePool2d, 1},
    {OpKind::Concatenation, 2},
    {OpKind::Conv2d, 3},
    {OpKind::DepthwiseConv2d, 4},
    {OpKind::Dequantize, 6},
    {OpKind::Logistic, 14},
    {OpKind::MaxPool2d, 17},
    {OpKind::Mul, 18},
    {OpKind::Relu, 19},
    {OpKind::ReluN1To1, 20},
    {OpKind::Relu6, 21},
    {OpKind::Reshape, 22},
    {OpKind::ResizeBilinear, 23},
    {OpKind::Pad, 34},
    {OpKind::Mean, 40},
    {OpKind::Sub, 41},
    {OpKind::Cast, 53},
    {OpKind::ArgMax, 56},
    {OpKind::Greater, 61},
    {OpKind::GreaterEqual, 62},
    {OpKind::TransposeConv, 67},
    {OpKind::Quantize, 114},
    {OpKind::HardSwish, 117},
    {OpKind::Convolution2DTransposeBias, -1},
};

}  // namespace

const char* builtinOperatorName(int32_t code) {
    if (code < 0 || static_cast<size_t>(code) >= std::size(kBuiltinNames)) {
        return nullptr;
    }
    return kBuiltinNames[code];
}

bool opKindFromBuiltin(int32_t code, OpKind* kind) {
    for (const KindCode& entry : kKindCodes) {
        if (entry.code >= 0 && entry.code == code) {
            *kind = entry.kind;
            return true;
        }
    }
    return false;
}

int32_t builtinCodeOf(OpKind kind) {
    for (const KindCode& entry : kKindCodes) {
        if (entry.kind == kind) {
            return entry.code;
        }
    }
    return -1;
}

const char* opKindName(OpKind kind) {
    const int32_t code = builtinCodeOf(kind);
    return code < 0 ? kTransposeConvBiasCustomCode : builtinOperatorName(code);
}

}  // namespace hostengine
