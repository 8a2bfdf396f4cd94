// The model configuration file through the real handle initialisation: each input becomes the
// JSON file a host names in its init block, then algoInitHandle and releaseHandle run through the
// table the plug-in hands out. Whatever the file says, init must not crash, release must return 0,
// and afterwards nothing of the plug-in may be left: no allocation in the host's memory map (which
// the plug-in's registry mirrors) and no live object in either vendor runtime.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "APSAlgoMemTrace.h"
#include "ApsMemMap.h"
#include "BodySegmentAPI.h"
#include "CapturedLog.h"
#include "FuzzCheck.h"
#include "StandinRuntimes.h"

namespace {

constexpr int kSuccess = 0;
constexpr int kFailure = 65535;
constexpr size_t kModelBytes = 4096;

struct Session {
    BodySegAlgoAPI api{};
    hostaps::ApsMemMap hostMap;
    std::string configPath;
    std::string modelPath;
    std::string cacheDir;
    std::vector<uint8_t> model;
    BodySegModelDesc desc{};
    BodySegInitParam param{};
};

Session* gSession = nullptr;

// The input files live in memory when the machine offers a tmpfs: one write per input.
std::string workDirectory() {
    struct stat info;
    const std::string base =
        stat("/dev/shm", &info) == 0 && S_ISDIR(info.st_mode) ? "/dev/shm" : "/tmp";
    return base + "/bodyseg-fuzz-config-" + std::to_string(getpid());
}

bool writeWhole(const std::string& path, const uint8_t* data, size_t size) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0)
        return false;
    size_t done = 0;
    while (done < size) {
        const ssize_t written = write(fd, data + done, size - done);
        if (written <= 0)
            break;
        done += static_cast<size_t>(written);
    }
    close(fd);
    return done == size;
}

// The files of this process go with it; a run that crashes leaves them behind.
void removeWorkFiles() {
    unlink(gSession->configPath.c_str());
    unlink(gSession->modelPath.c_str());
    rmdir(gSession->cacheDir.c_str());
    rmdir(workDirectory().c_str());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzsupport::captureLog();
    FUZZ_CHECK(fuzzsupport::loadScriptedRuntimes(), "stand-in runtimes missing");
    gSession = new Session;
    Session& s = *gSession;
    FUZZ_CHECK(getAlgoAPI(&s.api) == kSuccess, "getAlgoAPI refused");
    kavo::APSMemMapInfo info = s.hostMap.info();
    FUZZ_CHECK(kavo::APSAlgoMemTrace::setAPSMemInfo(&info) == kSuccess, "host map refused");

    const std::string dir = workDirectory();
    mkdir(dir.c_str(), 0700);
    s.configPath = dir + "/config.json";
    s.modelPath = dir + "/model.tflite";
    s.cacheDir = dir + "/cache";
    // The scripted runtimes record the model without interpreting it, so any bytes of a size the
    // decryption accepts will do, in memory and on disk alike.
    s.model.resize(kModelBytes);
    for (size_t i = 0; i < s.model.size(); ++i)
        s.model[i] = static_cast<uint8_t>(i * 31 + 7);
    FUZZ_CHECK(writeWhole(s.modelPath, s.model.data(), s.model.size()), "cannot write %s",
               s.modelPath.c_str());
    std::atexit(removeWorkFiles);
    s.desc.model_path = s.modelPath.c_str();
    s.desc.model_data = s.model.data();
    s.desc.model_size = static_cast<uint32_t>(s.model.size());
    s.desc.cache_dir = s.cacheDir.c_str();
    s.param.model = &s.desc;
    s.param.config_path = s.configPath.c_str();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Session& s = *gSession;
    FUZZ_CHECK(writeWhole(s.configPath, data, size), "cannot write %s", s.configPath.c_str());
    fuzzsupport::clearLog();

    void* handle = nullptr;
    const int init = s.api.algoInitHandle(&handle, &s.param);
    FUZZ_CHECK(init == kSuccess || init == kFailure, "init returned %d", init);
    FUZZ_CHECK((init == kSuccess) == (handle != nullptr), "init %d left handle %p", init, handle);

    const int released = s.api.releaseHandle(handle, nullptr);
    FUZZ_CHECK(released == kSuccess, "release returned %d after init %d", released, init);
    FUZZ_CHECK(s.hostMap.nativeRecordCount() == 0 && s.hostMap.nativeUsingSize() == 0,
               "%zu allocations (%u bytes) still registered after init %d and release",
               s.hostMap.nativeRecordCount(), s.hostMap.nativeUsingSize(), init);
    FUZZ_CHECK(fuzzsupport::liveVendorObjects() == 0, "%lld vendor objects alive after release",
               static_cast<long long>(fuzzsupport::liveVendorObjects()));
    return 0;
}
