// Process-wide state of the plug-in, shared by every handle: one handle at a time is the intended
// use, and a release of any handle frees all of it. Plain statics, unguarded: the host must not
// initialise, process or release concurrently.
#pragma once

namespace bodysegment {

class ModelImpFtyBase;

// The four working buffers of the frame path, allocated once on the first successful init and
// reused by every later one. Sizes follow the fixed network geometry 342 x 456.
struct s_body_segment_global_memory_t {
    unsigned char* scaled;      // I420 picture scaled to 456 x 342
    unsigned char* rotated;     // I420 picture turned to 342 x 456
    unsigned char* net_input;   // RGB24 tensor handed to inference
    unsigned char* net_output;  // one label byte per pixel from inference
};

constexpr unsigned kNetWidth = 342;
constexpr unsigned kNetHeight = 456;
constexpr unsigned kNetChannels = 3;
constexpr unsigned kScaledBytes = kNetWidth * kNetHeight * 3 / 2;           // 233928
constexpr unsigned kRotatedBytes = kScaledBytes;                            // 233928
constexpr unsigned kNetInputBytes = kNetWidth * kNetHeight * kNetChannels;  // 467856
constexpr unsigned kNetOutputBytes = kNetWidth * kNetHeight;                // 155952

extern unsigned char* s_body_segment_decryption_buffer;
extern ModelImpFtyBase* s_body_segment_model_imp_fty;
extern s_body_segment_global_memory_t* s_body_segment_global_memory;

}  // namespace bodysegment
