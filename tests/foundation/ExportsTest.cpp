// The dynamic symbol table of the built plug-in: exactly the product's public symbols leave it,
// and the platform calls are imported as on a phone.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <set>
#include <string>

#include "PluginPaths.h"

namespace {

// The names `nm <options>` lists for the plug-in, without version suffixes.
std::set<std::string> symbols(const std::string& options) {
    const std::string command = "nm -D " + options + " " + testsupport::pluginPath() +
                                " | sed -e 's/^[0-9a-f ]*[A-Za-z] //' -e 's/@.*//'";
    std::set<std::string> names;
    FILE* pipe = popen(command.c_str(), "r");
    char line[4096];
    while (pipe != nullptr && fgets(line, sizeof(line), pipe) != nullptr)
        names.insert(std::string(line, std::strcspn(line, "\n")));
    if (pipe != nullptr)
        pclose(pipe);
    return names;
}

TEST(Exports, PluginExportsExactlyItsPublicSymbolsAndImportsThePlatformCalls) {
    std::set<std::string> ours;
    for (const std::string& name : symbols("--defined-only -C")) {
        // Symbols the toolchain adds to every shared object are not ours.
        if (name.rfind("_init", 0) != 0 && name.rfind("_fini", 0) != 0 &&
            name.rfind("__", 0) != 0 && name != "_edata" && name != "_end")
            ours.insert(name);
    }
    EXPECT_EQ(ours,
              (std::set<std::string>{
                  "getAlgoAPI", "get_algo_api", "statusToString", "AES_init_ctx", "AES_init_ctx_iv",
                  "AES_ctx_set_iv", "AES_ECB_encrypt", "AES_ECB_decrypt", "AES_CBC_encrypt_buffer",
                  "AES_CBC_decrypt_buffer", "AES_CTR_xcrypt_buffer", "property_get",
                  "property_get_bool", "property_get_int64", "property_get_int32", "property_set",
                  "property_list", "kavo::APSAlgoMemTrace::setAPSMemInfo(kavo::APSMemMapInfo*)"}));
    const std::set<std::string> imported = symbols("-u");
    for (const char* name :
         {"__android_log_write", "__system_property_get", "__system_property_set",
          "__system_property_foreach", "__system_property_read_callback", "dlopen", "dlsym"})
        EXPECT_EQ(imported.count(name), 1u) << name;
}

}  // namespace
