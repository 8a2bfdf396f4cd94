// The plug-in as a camera host holds it: the library opened with dlopen, one function table taken
// from getAlgoAPI or get_algo_api, and every later call made through that table. The library is
// never closed: the runtimes it bound stay loaded for the life of the process, as on a phone.
#pragma once

#include <string>

#include "BodySegmentAPI.h"
#include "Options.h"

namespace bodyseg {

class PluginHost {
  public:
    // Opens the plug-in and fills the chosen table; false when the library, the export or a
    // slot the host calls is missing, or the export fails.
    bool load(const std::string& path, TableKind table, std::string* error);

    const char* exportName() const;  // "getAlgoAPI" or "get_algo_api"
    const char* version() const;
    // "SDK_FAILURE (65535)"; "1234 (no name)" for a code statusToString does not know.
    std::string statusText(int code) const;

    void setLogLevel(int level) const;
    int init(void** handle, BodySegInitParam* param) const;
    int process(void* handle, Image* in, Image* out) const;
    int release(void* handle) const;

  private:
    TableKind table_ = TableKind::GetAlgoAPI;
    BodySegAlgoAPI api_ = {};
    BodySegAlgoAPIV1 apiV1_ = {};
    // get_algo_api's table has no statusToString slot; the host then takes the export.
    BodySegStatusToStringFn statusToString_ = nullptr;
};

}  // namespace bodyseg
