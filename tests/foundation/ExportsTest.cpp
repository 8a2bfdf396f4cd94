// Reads the dynamic symbol table of the built plug-in: exactly the product's public symbols leave
// it, and the platform calls are imported as on a phone.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <sstream>
#include <string>

#include "PluginPaths.h"

namespace {

struct DynamicSymbols {
    std::set<std::string> defined;
    std::set<std::string> imported;
};

DynamicSymbols readDynamicSymbols(const std::string& path) {
    DynamicSymbols symbols;
    const std::string command =
        "nm -D --defined-only -C " + path + " && echo '--' && nm -D -u " + path;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return symbols;
    char line[4096];
    bool undefinedPart = false;
    while (fgets(line, sizeof(line), pipe) != nullptr) {
        std::string text(line);
        if (!text.empty() && text.back() == '\n')
            text.pop_back();
        if (text == "--") {
            undefinedPart = true;
            continue;
        }
        // "<address> <type> <name>" or "<blank> U <name>"; names may contain blanks (demangled).
        std::istringstream in(text);
        std::string first, second;
        in >> first;
        if (first == "U" || first == "w") {
            second = first;
        } else {
            in >> second;
        }
        std::string name;
        std::getline(in, name);
        name.erase(0, name.find_first_not_of(' '));
        name = name.substr(0, name.find('@'));
        if (undefinedPart) {
            symbols.imported.insert(name);
        } else if (second == "T" || second == "D" || second == "B" || second == "R" ||
                   second == "W" || second == "V" || second == "i") {
            symbols.defined.insert(name);
        }
    }
    pclose(pipe);
    return symbols;
}

}  // namespace

TEST(Exports, PluginExportsExactlyItsPublicSymbols) {
    const DynamicSymbols symbols = readDynamicSymbols(testsupport::pluginPath());
    const std::set<std::string> expected = {
        "getAlgoAPI",
        "get_algo_api",
        "statusToString",
        "AES_init_ctx",
        "AES_init_ctx_iv",
        "AES_ctx_set_iv",
        "AES_ECB_encrypt",
        "AES_ECB_decrypt",
        "AES_CBC_encrypt_buffer",
        "AES_CBC_decrypt_buffer",
        "AES_CTR_xcrypt_buffer",
        "property_get",
        "property_get_bool",
        "property_get_int64",
        "property_get_int32",
        "property_set",
        "property_list",
        "kavo::APSAlgoMemTrace::setAPSMemInfo(kavo::APSMemMapInfo*)",
    };
    std::set<std::string> ours;
    for (const std::string& name : symbols.defined) {
        // Symbols the toolchain adds to every shared object are not ours.
        if (name.rfind("_init", 0) == 0 || name.rfind("_fini", 0) == 0 ||
            name.rfind("__", 0) == 0 || name == "_edata" || name == "_end")
            continue;
        ours.insert(name);
    }
    EXPECT_EQ(ours, expected);
}

TEST(Exports, PluginImportsThePlatformCalls) {
    const DynamicSymbols symbols = readDynamicSymbols(testsupport::pluginPath());
    for (const char* name : {"__android_log_write", "__android_log_print", "__system_property_get",
                             "__system_property_set", "__system_property_foreach",
                             "__system_property_read_callback", "dlopen", "dlsym"}) {
        EXPECT_EQ(symbols.imported.count(name), 1u) << name;
    }
}
