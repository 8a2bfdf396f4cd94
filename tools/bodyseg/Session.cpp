#include "Session.h"

#include <android/log.h>

#include <chrono>
#include <cstdio>

#include "HostEnvironment.h"
#include "ImageIo.h"
#include "PluginLog.h"
#include "ToolPaths.h"

namespace bodyseg {

namespace {

// The plug-in logs its version and the parsed configuration at error level on every init, so
// that they show wherever errors are logged; they say nothing about a failure.
bool isInitBanner(const LogLine& line, const std::string& version) {
    const std::string& text = line.text;
    auto endsWith = [&](const std::string& tail) {
        return text.size() >= tail.size() &&
               text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
    };
    return endsWith("() " + version) || text.find("() acc_mode:") != std::string::npos ||
           text.find("() deviceKind:") != std::string::npos ||
           text.find("() decrption:") != std::string::npos;
}

std::string millis(std::chrono::steady_clock::duration elapsed) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f ms",
                  std::chrono::duration<double, std::milli>(elapsed).count());
    return text;
}

}  // namespace

Session::~Session() {
    if (open_)
        close();
}

bool Session::open(const Options& options, std::vector<std::string>* setup, std::string* error) {
    verbose_ = options.verbose;
    if (!setProperties(options.props, error) || !loadModel(options, error) ||
        !makeRuntimeReady(options, setup, error)) {
        return false;
    }
    const std::string pluginPath =
        options.pluginPath.empty() ? defaultPluginPath() : options.pluginPath;
    if (!plugin_.load(pluginPath, options.table, error))
        return false;
    setup->push_back("plug-in: " + pluginPath + " (" + plugin_.version() + "), table from " +
                     plugin_.exportName());
    plugin_.setLogLevel(options.logLevel);
    return createHandle(options, setup, error);
}

bool Session::loadModel(const Options& options, std::string* error) {
    // The plug-in judges the configuration's content; a file it cannot even open is the tool's
    // to report, by name and reason.
    std::vector<uint8_t> config;
    if (!readFile(options.configPath, &config, error) ||
        !readFile(options.modelPath, &model_, error)) {
        return false;
    }
    if (model_.empty() || model_.size() > UINT32_MAX) {
        *error = options.modelPath + " has " + std::to_string(model_.size()) +
                 " bytes; a model descriptor carries 1 to " + std::to_string(UINT32_MAX);
        return false;
    }
    configPath_ = options.configPath;
    modelPath_ = options.modelPath;
    return true;
}

bool Session::makeRuntimeReady(const Options& options, std::vector<std::string>* setup,
                               std::string* error) {
    Runtime runtime = Runtime::NeuroPilot;
    std::string how = "as the configuration selects";
    if (options.runtimeGiven) {
        runtime = options.runtime;
        if (!configCopy_.write(options.configPath, runtime, error))
            return false;
        configPath_ = configCopy_.path();
        how = "through a copy of the configuration: " + configPath_;
    } else if (!configuredRuntime(options.configPath, &runtime)) {
        // The plug-in will name what is wrong with the file; the default runtime is as good as
        // any until then.
        how = "default: the configuration names no runtime the tool recognises";
    }
    std::string library = "none";
    if (options.standin != "none") {
        library = options.standin.empty() ? runtimeLibraryName(runtime) : options.standin;
        if (library.find('/') == std::string::npos) {
            library = (options.standinDir.empty() ? defaultStandinDir() : options.standinDir) +
                      "/" + library;
        }
        if (!makeRuntimeAvailable(library, error))
            return false;
    }
    setup->push_back("runtime: " + std::string(runtimeWord(runtime)) + " (" + how + "), loaded " +
                     library);
    return true;
}

bool Session::createHandle(const Options& options, std::vector<std::string>* setup,
                           std::string* error) {
    cacheDir_ = options.cacheDir.empty() ? defaultCacheDir() : options.cacheDir;
    descriptor_.model_path = modelPath_.c_str();
    descriptor_.model_data = model_.data();
    descriptor_.model_size = static_cast<uint32_t>(model_.size());
    descriptor_.cache_dir = cacheDir_.c_str();
    initParam_.model = &descriptor_;
    initParam_.config_path = configPath_.c_str();

    takeLogLines();
    const auto start = std::chrono::steady_clock::now();
    const int status = plugin_.init(&handle_, &initParam_);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    const std::vector<LogLine> lines = takeLogLines();
    if (status != 0) {
        *error = "algoInitHandle failed: " + plugin_.statusText(status);
        if (!verbose_) {
            const std::string version = plugin_.version();
            for (const LogLine& line : lines) {
                if (line.priority >= ANDROID_LOG_ERROR && !isInitBanner(line, version))
                    *error += "\n  " + line.text;
            }
        }
        // A failed init leaves what it created in the plug-in's process-wide state; a release
        // without a handle frees it, and says when something could not be freed.
        const int released = plugin_.release(nullptr);
        takeLogLines();
        if (released != 0)
            *error += "\n  releaseHandle after it: " + plugin_.statusText(released);
        return false;
    }
    open_ = true;
    setup->push_back("config: " + options.configPath);
    setup->push_back("model: " + modelPath_ + " (" + std::to_string(model_.size()) +
                     " bytes in memory), cache " + cacheDir_);
    setup->push_back("init: " + plugin_.statusText(status) + " in " + millis(elapsed));
    return true;
}

int Session::process(Image* in, Image* out) const {
    return plugin_.process(handle_, in, out);
}

int Session::close() {
    open_ = false;
    const int status = plugin_.release(handle_);
    handle_ = nullptr;
    return status;
}

}  // namespace bodyseg
