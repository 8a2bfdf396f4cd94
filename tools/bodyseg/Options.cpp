#include "Options.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace bodyseg {

namespace {

const char kUsage[] =
    R"(usage: bodyseg [options] --config FILE --model FILE INPUT...
       bodyseg bench [options] --config FILE --model FILE [--size WxH] [--frames N]
       bodyseg pan [--size WxH] [--frames N] [--orientation DEG] [--force] PHOTO OUT.y4m

Drives libVLAlgoCamAIBeautyBodyDetection.so exactly as a camera host does: loads it, takes its
function table, makes the vendor runtime available, creates a handle from a model configuration
and the (encrypted) model read into memory, sends frames and releases the handle.

Inputs: PNG or JPEG photos, raw NV21/NV12 dumps (.nv21, .nv12, .yuv), YUV4MPEG2 videos (.y4m,
4:2:0: C420, C420jpeg, C420paldv, C420mpeg2 or no C tag) and directories (their files of those
kinds, sorted by name). A photo is taken as the upright picture and turned into the frame a
sensor mounted at --orientation delivers; raw dumps and video frames are frames as they are.
A raw dump of several whole frames and every video are sequences: one handle, frames in order,
each frame read from the file when it is sent.

Outputs per input, into --out DIR (nothing is overwritten without --force):
  <name>_mask.png     the 456x342 mask as the plug-in wrote it (sensor orientation), an 8-bit
                      palette PNG: pixel values are the labels, each label has its own colour
  <name>_overlay.png  the upright picture with the labelled pixels tinted and outlined
  <name>_mask.bin     (--raw-mask) the 155952 mask bytes exactly as the plug-in wrote them
Outputs per sequence:
  <name>_overlay.y4m  the upright overlays of every frame, a C420jpeg video
  <name>_steadiness.csv  per frame: person share, IoU of the person (non-zero labels) with the
                      previous frame, share of changed labels, stage times
  <name>_overlay_first.png, _middle.png, _last.png, _least_steady.png (lowest IoU)
  <name>_masks.bin    (--raw-mask) the masks of every frame, 155952 bytes each

Plug-in and runtime:
  --config FILE         JSON model configuration (required)
  --model FILE          model file, read into memory and handed to the plug-in (required)
  --runtime NAME        neuropilot or neuron: hand the plug-in a copy of the configuration whose
                        root "AISDK" selects that runtime's group (default: the file as it is)
  --plugin FILE         the plug-in (default: ../lib/ next to this tool)
  --api NAME            getAlgoAPI (default) or get_algo_api: the export the table comes from
  --standin-dir DIR     where the stand-in runtimes are (default: ../lib/bodyseg/standin/ next
                        to this tool when installed, ../lib/standin/ in a build tree)
  --standin FILE|none   runtime library to load before init (default: libtflite_mtk.so for
                        NeuroPilot, libneuron_runtime.6.so for the Neuron Runtime); a name
                        without '/' is looked up in --standin-dir
  --prop KEY=VALUE      set a system property before anything is loaded (repeatable), e.g.
                        persist.camera.algo.aibeautybodydetect.loglvl=15
  --log-level N         log mask handed to setLogLevel before init (default 15; stage times need
                        the DEBUG bit 8; a non-zero loglvl property replaces it at init)
  --cache-dir DIR       runtime cache directory (default: $TMPDIR/bodyseg-cache)
  -v, --verbose         echo every log line of the plug-in and the runtime on stderr

Frames:
  --format nv21|nv12    format photos are converted to, and of .yuv dumps (default nv21)
  --orientation DEG     sensor orientation 0, 90, 180 or 270 (default 90)
  --stride-pad N        bytes added to every row of a photo's frame (even, default 0)
  --scan-pad N          rows added below a photo's frame (even, default 0)
  --size WxH            size of raw dumps and of bench frames (bench default 1920x1080)
  --stride N, --scan N  row pitch and row count of raw dumps and bench frames (default: the size)

Run mode:
  --list FILE           read more inputs from FILE, one path a line
  --out DIR             output directory (default ./bodyseg-out)
  --raw-mask            also write <name>_mask.bin
  --force               overwrite existing outputs
  --frames A:B          frames A to B-1 of every sequence, counted from 0; A: and :B leave a
                        side open, a B past the end stops at the end (default: all)

Bench mode:
  --frames N            frames to time (default 50)
  --warmup N            frames sent first and not counted (default 1)

Pan mode (a demonstration sequence made from a photo, nothing else needed):
  --size WxH            the window moved across the photo, upright (default 3/4 of each side)
  --frames N            frames, the window moving from the left edge to the right (default 8)
  --orientation DEG     frames as a sensor mounted so delivers them (default 90)
  --force               overwrite OUT.y4m

  -h, --help            this text

Exit status: 0 success, 1 failure, 2 bad command line.
)";

enum class Arg { None, Value };

struct OptionRule {
    const char* name;
    Arg arg;
    bool run;    // accepted in run mode
    bool bench;  // accepted in bench mode
    bool pan;    // accepted in pan mode
};

const OptionRule kOptionRules[] = {
    {"--config", Arg::Value, true, true, false},
    {"--model", Arg::Value, true, true, false},
    {"--runtime", Arg::Value, true, true, false},
    {"--plugin", Arg::Value, true, true, false},
    {"--api", Arg::Value, true, true, false},
    {"--standin-dir", Arg::Value, true, true, false},
    {"--standin", Arg::Value, true, true, false},
    {"--prop", Arg::Value, true, true, false},
    {"--log-level", Arg::Value, true, true, false},
    {"--cache-dir", Arg::Value, true, true, false},
    {"--verbose", Arg::None, true, true, false},
    {"--format", Arg::Value, true, true, false},
    {"--orientation", Arg::Value, true, true, true},
    {"--stride-pad", Arg::Value, true, false, false},
    {"--scan-pad", Arg::Value, true, false, false},
    {"--size", Arg::Value, true, true, true},
    {"--stride", Arg::Value, true, true, false},
    {"--scan", Arg::Value, true, true, false},
    {"--list", Arg::Value, true, false, false},
    {"--out", Arg::Value, true, false, false},
    {"--raw-mask", Arg::None, true, false, false},
    {"--force", Arg::None, true, false, true},
    {"--frames", Arg::Value, true, true, true},
    {"--warmup", Arg::Value, false, true, false},
    {"--help", Arg::None, true, true, true},
};

bool accepts(const OptionRule& rule, Mode mode) {
    return mode == Mode::Bench ? rule.bench : mode == Mode::Pan ? rule.pan : rule.run;
}

const OptionRule* findOptionRule(const std::string& name) {
    for (const OptionRule& rule : kOptionRules) {
        if (name == rule.name)
            return &rule;
    }
    return nullptr;
}

bool parseInt(const std::string& option, const std::string& text, int minimum, int maximum,
              int* value, std::string* error) {
    errno = 0;
    char* end = nullptr;
    const long parsed = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0 || parsed < INT_MIN || parsed > INT_MAX) {
        *error = option + ": '" + text + "' is not a whole number";
        return false;
    }
    if (parsed < minimum || parsed > maximum) {
        *error = option + " " + text + ": use " + std::to_string(minimum) + " to " +
                 std::to_string(maximum);
        return false;
    }
    *value = static_cast<int>(parsed);
    return true;
}

bool parseEven(const std::string& option, const std::string& text, int minimum, int maximum,
               int* value, std::string* error) {
    if (!parseInt(option, text, minimum, maximum, value, error))
        return false;
    if (*value % 2 != 0) {
        *error = option + " " + text + ": must be even (NV21/NV12 chroma covers pixel pairs)";
        return false;
    }
    return true;
}

bool parseSize(const std::string& text, int* width, int* height, std::string* error) {
    const size_t x = text.find('x');
    int w = 0;
    int h = 0;
    std::string ignored;
    if (x == std::string::npos ||
        !parseInt("--size", text.substr(0, x), 0, INT_MAX, &w, &ignored) ||
        !parseInt("--size", text.substr(x + 1), 0, INT_MAX, &h, &ignored)) {
        *error = "--size '" + text + "': expected WxH, e.g. 1920x1080";
        return false;
    }
    if (w == 0 || h == 0 || w % 2 != 0 || h % 2 != 0) {
        *error = "--size " + text + ": width and height must be even and non-zero";
        return false;
    }
    if (w > kMaxFrameSide || h > kMaxFrameSide) {
        *error = "--size " + text + ": width and height must not exceed " +
                 std::to_string(kMaxFrameSide);
        return false;
    }
    *width = w;
    *height = h;
    return true;
}

bool parseFormat(const std::string& text, PixelFormat* format, std::string* error) {
    if (text == "nv21") {
        *format = PixelFormat::NV21;
    } else if (text == "nv12") {
        *format = PixelFormat::NV12;
    } else {
        *error = "unknown format '" + text + "' (use nv21 or nv12)";
        return false;
    }
    return true;
}

// Applies one option with its value (empty for flags).
bool apply(const std::string& name, const std::string& value, Options* o, std::string* error) {
    constexpr int kMaxStride = kMaxFrameSide + kMaxPadding;
    if (name == "--config") {
        o->configPath = value;
    } else if (name == "--model") {
        o->modelPath = value;
    } else if (name == "--runtime") {
        if (value == "neuropilot") {
            o->runtime = Runtime::NeuroPilot;
        } else if (value == "neuron") {
            o->runtime = Runtime::Neuron;
        } else {
            *error = "unknown runtime '" + value + "' (use neuropilot or neuron)";
            return false;
        }
        o->runtimeGiven = true;
    } else if (name == "--plugin") {
        o->pluginPath = value;
    } else if (name == "--api") {
        if (value == "getAlgoAPI") {
            o->table = TableKind::GetAlgoAPI;
        } else if (value == "get_algo_api") {
            o->table = TableKind::GetAlgoApiV1;
        } else {
            *error = "unknown --api '" + value + "' (use getAlgoAPI or get_algo_api)";
            return false;
        }
    } else if (name == "--standin-dir") {
        o->standinDir = value;
    } else if (name == "--standin") {
        o->standin = value;
    } else if (name == "--prop") {
        const size_t eq = value.find('=');
        if (eq == std::string::npos || eq == 0) {
            *error = "--prop '" + value + "': expected KEY=VALUE";
            return false;
        }
        o->props.emplace_back(value.substr(0, eq), value.substr(eq + 1));
    } else if (name == "--log-level") {
        return parseInt(name, value, INT_MIN, INT_MAX, &o->logLevel, error);
    } else if (name == "--cache-dir") {
        o->cacheDir = value;
    } else if (name == "--verbose") {
        o->verbose = true;
    } else if (name == "--format") {
        return parseFormat(value, &o->format, error);
    } else if (name == "--orientation") {
        if (value != "0" && value != "90" && value != "180" && value != "270") {
            *error = "--orientation '" + value + "': use 0, 90, 180 or 270";
            return false;
        }
        o->orientation = std::atoi(value.c_str());
    } else if (name == "--stride-pad") {
        return parseEven(name, value, 0, kMaxPadding, &o->stridePad, error);
    } else if (name == "--scan-pad") {
        return parseEven(name, value, 0, kMaxPadding, &o->scanPad, error);
    } else if (name == "--size") {
        return parseSize(value, &o->width, &o->height, error);
    } else if (name == "--stride") {
        return parseEven(name, value, 2, kMaxStride, &o->stride, error);
    } else if (name == "--scan") {
        return parseEven(name, value, 2, kMaxStride, &o->scan, error);
    } else if (name == "--list") {
        o->listFile = value;
    } else if (name == "--out") {
        o->outDir = value;
    } else if (name == "--raw-mask") {
        o->rawMask = true;
    } else if (name == "--force") {
        o->force = true;
    } else if (name == "--frames" && o->mode == Mode::Run) {
        return parseFrameRange(value, &o->frameRange, error);
    } else if (name == "--frames") {
        return parseInt(name, value, o->mode == Mode::Pan ? 2 : 1, 1000000, &o->frames, error);
    } else if (name == "--warmup") {
        return parseInt(name, value, 0, 1000000, &o->warmup, error);
    }
    return true;
}

// Rules that involve more than one option.
bool checkCombination(Options* o, std::string* error) {
    if (o->mode == Mode::Pan) {
        if (o->inputs.size() != 2) {
            *error = "pan takes a photo and the .y4m file to write (see bodyseg --help)";
            return false;
        }
        return true;
    }
    if (o->configPath.empty()) {
        *error = "--config FILE is required (see bodyseg --help)";
        return false;
    }
    if (o->modelPath.empty()) {
        *error = "--model FILE is required (see bodyseg --help)";
        return false;
    }
    if (o->mode == Mode::Run && o->inputs.empty() && o->listFile.empty()) {
        *error = "no inputs (see bodyseg --help)";
        return false;
    }
    if (o->mode == Mode::Bench && o->width == 0) {
        o->width = 1920;
        o->height = 1080;
    }
    if ((o->stride != 0 || o->scan != 0) && o->width == 0) {
        *error = "--stride and --scan describe raw dumps: give their --size WxH too";
        return false;
    }
    if (o->stride != 0 && o->stride < o->width) {
        *error = "--stride " + std::to_string(o->stride) + " is smaller than the width " +
                 std::to_string(o->width);
        return false;
    }
    if (o->scan != 0 && o->scan < o->height) {
        *error = "--scan " + std::to_string(o->scan) + " is smaller than the height " +
                 std::to_string(o->height);
        return false;
    }
    return true;
}

}  // namespace

bool parseOptions(int argc, char** argv, Options* o, std::string* error) {
    int first = 1;
    if (argc > 1 && std::strcmp(argv[1], "bench") == 0) {
        o->mode = Mode::Bench;
        first = 2;
    } else if (argc > 1 && std::strcmp(argv[1], "pan") == 0) {
        o->mode = Mode::Pan;
        o->frames = 8;
        first = 2;
    }
    const char* modeName = o->mode == Mode::Bench ? "bench" : o->mode == Mode::Pan ? "pan" : "run";
    bool onlyInputsFollow = false;
    for (int i = first; i < argc; ++i) {
        std::string arg = argv[i];
        if (onlyInputsFollow || arg.empty() || arg[0] != '-') {
            if (o->mode == Mode::Bench) {
                *error = "bench takes no inputs ('" + arg + "')";
                return false;
            }
            o->inputs.push_back(arg);
            continue;
        }
        if (arg == "--") {
            onlyInputsFollow = true;
            continue;
        }
        if (arg == "-h")
            arg = "--help";
        if (arg == "-v")
            arg = "--verbose";
        std::string value;
        bool inlineValue = false;
        const size_t eq = arg.find('=');
        if (arg.compare(0, 2, "--") == 0 && eq != std::string::npos) {
            value = arg.substr(eq + 1);
            arg.resize(eq);
            inlineValue = true;
        }
        const OptionRule* rule = findOptionRule(arg);
        if (rule == nullptr) {
            *error = "unknown option '" + arg + "' (see bodyseg --help)";
            return false;
        }
        if (arg == "--help") {
            o->mode = Mode::Help;
            return true;
        }
        if (!accepts(*rule, o->mode)) {
            *error = arg + " is not an option of " + modeName + " mode";
            return false;
        }
        if (rule->arg == Arg::None && inlineValue) {
            *error = arg + " takes no value";
            return false;
        }
        if (rule->arg == Arg::Value && !inlineValue) {
            if (i + 1 >= argc) {
                *error = arg + " needs a value";
                return false;
            }
            value = argv[++i];
        }
        if (!apply(arg, value, o, error))
            return false;
    }
    return checkCombination(o, error);
}

const char* usageText() {
    return kUsage;
}

}  // namespace bodyseg
