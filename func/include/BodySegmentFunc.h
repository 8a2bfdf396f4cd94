// Image preparation and mask output: the processing geometry, the conversion of a camera frame
// into the network input, the conversion of the network's labels into the host's mask, and the
// stopwatches and dump helpers around them. All pixel work is libyuv's.
#pragma once

#include <string>
#include <string_view>

namespace bodysegment {

// Geometry of one frame and of the network, plus default locations for debug dumps. Built on the
// stack per frame; the six frame fields are overwritten from the host's input Image.
struct Settings {
    Settings();

    int param0;
    float scale;
    int param1;
    // The default locations name string literals: building a Settings for every frame allocates
    // nothing.
    std::string_view model_path;
    std::string_view cache_dir;
    std::string_view input_dir;
    std::string_view output_dir;
    std::string_view output_dir2;
    std::string_view dump_name;
    int stride;
    int scan;
    int width;
    int height;
    int net_width;   // 342
    int net_height;  // 456
    int channels;    // 3
    int orientation;
    int image_type;  // 5 NV21, 6 NV12
};

// Frame (NV21/NV12: luma stride*scan bytes, then interleaved chroma) -> 342x456 RGB24 tensor
// (blue, green, red in memory). `tmp_i420` holds stride*scan*3/2 bytes, `scaled_i420` and
// `rotated_i420` net_width*net_height*3/2 each. Returns 0, the sum of the failing libyuv results,
// or -1 for a null src, dst_rgb or settings.
int pre_process_bodysegment(const unsigned char* src, unsigned char* dst_rgb,
                            unsigned char* tmp_i420, unsigned char* scaled_i420,
                            unsigned char* rotated_i420, const Settings* settings);

// 342x456 label plane -> 456x342 mask (pitch 456), turned back to the frame's orientation.
// Returns 0, the libyuv result, or -1 for a null argument.
int post_process_bodysegment(unsigned char* dst_mask, const unsigned char* src_labels,
                             const Settings* settings);

// Stopwatch in microseconds of CLOCK_MONOTONIC; time_end logs "<label> = <ms> ms" at DEBUG and
// resets *t to 0.
void time_start(unsigned long long* t);
void time_end(unsigned long long* t, const char* label);

// dst receives the three palette bytes of each label. Returns 0, or -1 for a null argument.
int visual_bgr(const unsigned char* labels, unsigned count, unsigned char* dst,
               unsigned char palette[][3]);

// Creates `path` (mode 0700) when it does not exist; returns the last system call's result.
int make_dir(const char* path);

// Writes `size` bytes to `path` (truncating).
void writeFile(std::string path, const unsigned char* data, unsigned size);

}  // namespace bodysegment
