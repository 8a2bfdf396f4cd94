// Which inputs of a run are sequences, found before the handle is created so that a damaged
// video, a dump of partial frames or a range that selects nothing stops the run before it starts:
// every video, and every raw dump of more than one frame.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "FrameRange.h"
#include "Inputs.h"
#include "Options.h"
#include "SequenceOutputs.h"
#include "SequenceReader.h"

namespace bodyseg {

struct SequencePlan {
    std::unique_ptr<SequenceReader> reader;  // null for a single frame
    FrameRange range;                        // clipped to the sequence
    SequencePaths paths;
};

// One plan per input, in the same order.
bool planSequences(const Options& options, const std::vector<Input>& inputs,
                   std::vector<SequencePlan>* plans, std::string* error);

}  // namespace bodyseg
