#include "SequencePlan.h"

namespace bodyseg {

bool planSequences(const Options& options, const std::vector<Input>& inputs,
                   std::vector<SequencePlan>* plans, std::string* error) {
    const RawGeometry raw{options.width, options.height, options.rawStride(), options.rawScan()};
    plans->resize(inputs.size());
    for (size_t i = 0; i < inputs.size(); ++i) {
        const Input& input = inputs[i];
        if (input.kind == InputKind::Photo)
            continue;
        SequencePlan& plan = (*plans)[i];
        plan.reader = std::make_unique<SequenceReader>();
        if (!plan.reader->open(input, options.format, options.orientation, raw, error) ||
            !clipFrameRange(options.frameRange, plan.reader->frameCount(), input.path, &plan.range,
                            error)) {
            return false;
        }
        if (input.kind == InputKind::RawDump && plan.reader->frameCount() == 1) {
            plan.reader.reset();
            continue;
        }
        plan.paths = sequencePathsFor(options.outDir, input, options.rawMask,
                                      plan.range.end - plan.range.first);
    }
    return true;
}

}  // namespace bodyseg
