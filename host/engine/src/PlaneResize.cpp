#include "PlaneResize.h"

#include "GraphText.h"

namespace hostengine {

bool createPlaneResize(const Graph& graph, size_t opIndex, const float* input, float* output,
                       pthreadpool_t threadpool, OperatorPtr* resize, std::string* error) {
    const GraphOperator& op = graph.operators[opIndex];
    const auto& in = graph.tensors[op.inputs[0]].shape;
    const auto& out = graph.tensors[op.outputs[0]].shape;
    // The sampling modes map to the same flags as for the channel-last resize.
    uint32_t flags = 0;
    if (op.options.alignCorners) {
        flags = XNN_FLAG_ALIGN_CORNERS;
    } else if (!op.options.halfPixelCenters) {
        flags = XNN_FLAG_TENSORFLOW_LEGACY_MODE;
    }
    xnn_operator_t raw = nullptr;
    xnn_status status = xnn_create_resize_bilinear2d_nchw_f32(1, 1, 1, flags, &raw);
    if (status == xnn_status_success) {
        resize->reset(raw);
        // A batch of one-channel maps is a batch of planes.
        status = xnn_setup_resize_bilinear2d_nchw_f32(raw, in[0], in[1], in[2], out[1], out[2],
                                                      input, output, threadpool);
    }
    if (status != xnn_status_success) {
        *error =
            operatorLabel(op, opIndex) + ": the planar resize failed: " + xnnStatusText(status);
        return false;
    }
    return true;
}

}  // namespace hostengine
