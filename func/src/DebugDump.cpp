#include <cstring>
#include <fstream>

#include "BodySegmentFunc.h"
#include "LogPrintf.h"

namespace bodysegment {

int visual_bgr(const unsigned char* labels, unsigned count, unsigned char* dst,
               unsigned char palette[][3]) {
    if (labels == nullptr || dst == nullptr || palette == nullptr) {
        KAVO_LOGE("send nullptr to visual_bgr");
        return -1;
    }
    for (unsigned i = 0; i < count; ++i) {
        std::memcpy(dst + 3 * static_cast<size_t>(i), palette[labels[i]], 3);
    }
    return 0;
}

void writeFile(std::string path, const unsigned char* data, unsigned size) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out.is_open()) {
        KAVO_LOGE("output file not found");
        return;
    }
    out.write(reinterpret_cast<const char*>(data), size);
    out.close();
    KAVO_LOGI("write to %s successfully", path.c_str());
}

}  // namespace bodysegment
