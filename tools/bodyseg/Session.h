// One handle's life as a camera host lives it, shared by the run and bench modes: system
// properties set, the runtime made available, the plug-in loaded and its log level set, the model
// read into memory, the initialisation block and model descriptor filled, the handle created; then
// frames; then the release and its status.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

#include "BodySegmentAPI.h"
#include "Options.h"
#include "PluginHost.h"
#include "RuntimeConfig.h"

namespace bodyseg {

class Session {
  public:
    Session() = default;
    ~Session();  // releases a handle that close() did not
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Everything up to a ready handle. On success `setup` holds lines describing what was loaded
    // and how long init took; on failure `error` says which step failed and, for init, the status
    // with its name and the plug-in's error lines.
    bool open(const Options& options, std::vector<std::string>* setup, std::string* error);

    int process(Image* in, Image* out) const;
    std::string statusText(int status) const { return plugin_.statusText(status); }
    // The log is echoed as it comes (--verbose), so failures need not repeat its lines.
    bool echoesLog() const { return verbose_; }

    // Releases the handle and returns releaseHandle's status.
    int close();

  private:
    bool loadModel(const Options& options, std::string* error);
    bool makeRuntimeReady(const Options& options, std::vector<std::string>* setup,
                          std::string* error);
    bool createHandle(const Options& options, std::vector<std::string>* setup, std::string* error);

    PluginHost plugin_;
    RuntimeConfigCopy configCopy_;
    std::string configPath_;
    std::string modelPath_;
    std::string cacheDir_;
    std::vector<uint8_t> model_;
    BodySegModelDesc descriptor_ = {};
    BodySegInitParam initParam_ = {};
    void* handle_ = nullptr;
    bool open_ = false;
    bool verbose_ = false;
};

}  // namespace bodyseg
