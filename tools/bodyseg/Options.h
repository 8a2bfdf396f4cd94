// The command line of bodyseg: what the user asked for, checked for form and for the geometry
// rules that need no file (sizes even and non-zero, stride and scan even and not below the
// picture).
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Frame.h"
#include "FrameRange.h"

namespace bodyseg {

// Pan makes a demonstration sequence: a window moved across a photo, written as a .y4m video.
enum class Mode { Run, Bench, Pan, Help };

// Which export hands out the function table: getAlgoAPI (eight slots) or get_algo_api (the larger
// table whose processImage takes the Image directly and which has no statusToString).
enum class TableKind { GetAlgoAPI, GetAlgoApiV1 };

// The runtime a configuration selects through its root "AISDK".
enum class Runtime { NeuroPilot, Neuron };

struct Options {
    Mode mode = Mode::Run;
    std::vector<std::string> inputs;  // files and directories, in command-line order
    std::string listFile;             // more inputs, one path a line

    // The plug-in and what it is given.
    std::string pluginPath;  // empty: ../lib next to the tool
    TableKind table = TableKind::GetAlgoAPI;
    std::string standinDir;  // empty: ../lib/standin next to the tool
    std::string standin;     // empty: the runtime's library; "none": nothing
    std::string configPath;
    std::string modelPath;
    bool runtimeGiven = false;
    Runtime runtime = Runtime::NeuroPilot;
    std::vector<std::pair<std::string, std::string>> props;
    int logLevel = 15;
    std::string cacheDir;  // empty: a directory under $TMPDIR
    bool verbose = false;

    // Frames.
    PixelFormat format = PixelFormat::NV21;
    int orientation = 90;
    int stridePad = 0;  // photos
    int scanPad = 0;
    int width = 0;  // --size: raw dumps, bench frames, pan's window; 0 when not given
    int height = 0;
    int stride = 0;  // --stride / --scan: 0 means the width / height
    int scan = 0;

    // Run mode.
    std::string outDir = "bodyseg-out";
    bool rawMask = false;
    bool force = false;
    FrameRange frameRange;  // --frames A:B, of sequences

    // Bench mode; pan mode's frame count.
    int frames = 50;
    int warmup = 1;

    int rawStride() const { return stride != 0 ? stride : width; }
    int rawScan() const { return scan != 0 ? scan : height; }
};

// Parses argv. On a usage error returns false with a one-line message (without the "bodyseg: "
// prefix) in *error.
bool parseOptions(int argc, char** argv, Options* options, std::string* error);

// The --help text.
const char* usageText();

}  // namespace bodyseg
