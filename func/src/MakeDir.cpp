#include <errno.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "BodySegmentFunc.h"
#include "LogPrintf.h"

namespace bodysegment {

int make_dir(const char* path) {
    int result = access(path, F_OK);
    if (result == 0) {
        KAVO_LOGI("%s existing", path);
        return result;
    }
    KAVO_LOGI("%s not existing, now make it", path);
    result = mkdir(path, 0700);
    if (result == 0) {
        KAVO_LOGI("make successfully");
    } else {
        const int err = errno;
        KAVO_LOGE("mkdir error: errno_%d, %s", err, strerror(err));
    }
    return result;
}

}  // namespace bodysegment
