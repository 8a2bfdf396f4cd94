// One sequence through an open handle, frame by frame in order: each frame's mask compared with
// the previous one, the overlay video, the frame table and the raw mask stream written as the
// frames come, overlay pictures of the first, middle, last and least steady frames, and a summary
// printed at the end.
#pragma once

#include <string>

#include "FrameRange.h"
#include "SequenceOutputs.h"
#include "SequenceReader.h"
#include "Session.h"

namespace bodyseg {

// `range` is clipped to the sequence. False with one message (naming the file and, for the
// plug-in's refusals, the frame) when a frame cannot be read, sent or written.
bool runSequence(const Session& session, SequenceReader& reader, const FrameRange& range,
                 const SequencePaths& paths, bool showProgress, std::string* error);

}  // namespace bodyseg
