#include "ParseParams.h"

#include <json/json.h>

#include <exception>
#include <fstream>

#include "LogPrintf.h"
#include "OptionConversions.h"
#include "OptionVocabulary.h"

// Everything this file reports, it reports as parse_json, whichever helper noticed.
#define PARSE_JSON_LOGE(fmt, ...) \
    KAVO_LOG_WHERE(::kavo::kLogError, "ERROR", __FILE__, "parse_json", fmt, ##__VA_ARGS__)
#define PARSE_JSON_LOGI(fmt, ...) \
    KAVO_LOG_WHERE(::kavo::kLogInfo, "INFO", __FILE__, "parse_json", fmt, ##__VA_ARGS__)

namespace assist {

namespace {

using mtk_ai_params::aiSdkName;
using mtk_ai_params::platformName;
using mtk_ai_type::GeneralCfg;
using mtk_ai_type::ModelCfg;

constexpr uint32_t kParseFailed = 0xFFFFFFFFu;

// "Module" is free text that is only logged; an array or object there must not make the result
// depend on whether INFO logging is on.
std::string moduleText(const Json::Value& module) {
    return module.isConvertibleTo(Json::stringValue) ? module.asString() : "(not text)";
}

std::string member(const Json::Value& object, const char* key) {
    return object[key].asString();
}

void readNeuropilotOptions(const Json::Value& group, ModelCfg& model_cfg) {
    using namespace NeuropilotParseParam;
    model_cfg.acc_mode = String2AccelerationMode(member(group, "AccelerationMode"));
    model_cfg.acc_name = String2AcceleratorName(member(group, "AcceleratorName"));
    model_cfg.exe_mode = String2ExecutionPreference(member(group, "ExecutionPreference"));
}

void readNeuronRuntimeOptions(const Json::Value& group, ModelCfg& model_cfg) {
    using namespace NeuronRuntimeParseParam;
    model_cfg.env_options.deviceKind = String2DeviceKind(member(group, "DeviceKind"));
    model_cfg.env_options.MDLACoreOption = String2MDLACoreOption(member(group, "MDLACoreOption"));
    model_cfg.qos_options.preference =
        String2RuntimeAPIQoSPreference(member(group, "RuntimeAPIQoSPreference"));
    model_cfg.qos_options.priority =
        String2RuntimeAPIQoSPriority(member(group, "RuntimeAPIQoSPriority"));
    model_cfg.qos_options.boostValue = static_cast<uint8_t>(
        String2RuntimeAPIQoSBoostValue(member(group, "RuntimeAPIQoSBoostValue")));
}

// Fills the records from the selected group. False, after its own ERROR line, when the group names
// a platform or runtime this library does not serve.
bool readGroup(const Json::Value& group, ModelCfg& model_cfg, GeneralCfg& general_cfg) {
    const std::string platform = member(group, "Platform");
    if (platform != platformName[0]) {
        PARSE_JSON_LOGE("Platform is wrong, now is %s", platform.c_str());
        return false;
    }
    const std::string aisdk = member(group, "AISDK");
    if (aisdk == aiSdkName[0]) {
        readNeuropilotOptions(group, model_cfg);
    } else if (aisdk == aiSdkName[1]) {
        readNeuronRuntimeOptions(group, model_cfg);
    } else {
        PARSE_JSON_LOGE("AISDK is wrong, now is %s", aisdk.c_str());
        return false;
    }
    general_cfg.decrption = group["Decrption"].asBool();
    general_cfg.ai_sdk_def = static_cast<int32_t>(GeneralParseParam::String2AISDKTD(aisdk));
    general_cfg.run_ai_model = group.get("RunAiModel", true).asBool();
    general_cfg.use_hist_match = group.get("UseHistMatch", false).asBool();
    return true;
}

// Only the first group matching the root's Product, Platform and AISDK is ever considered.
uint32_t readParameters(const Json::Value& root, ModelCfg& model_cfg, GeneralCfg& general_cfg,
                        SelectedParamGroup& selected) {
    const Json::Value& module = root["Module"];
    if (!module.isNull()) {
        PARSE_JSON_LOGI("Module: %s", moduleText(module).c_str());
    }
    const std::string product = member(root, "Product");
    const std::string platform = member(root, "Platform");
    const std::string aisdk = member(root, "AISDK");

    const Json::Value& groups = root["ParamGroup"];
    const Json::ArrayIndex count = groups.size();
    for (Json::ArrayIndex i = 0; i < count; ++i) {
        const Json::Value& group = groups[i];
        if (member(group, "Product") != product || member(group, "Platform") != platform ||
            member(group, "AISDK") != aisdk) {
            continue;
        }
        if (!readGroup(group, model_cfg, general_cfg))
            break;
        selected = {static_cast<int>(i), product, platform, aisdk};
        return 0;
    }
    PARSE_JSON_LOGE("parse_json fail to parse parameter\n");
    return kParseFailed;
}

bool readRoot(std::istream& in, Json::Value& root) {
    Json::CharReaderBuilder builder;
    std::string errors;
    bool parsed = false;
    try {
        parsed = Json::parseFromStream(builder, in, &root, &errors);
    } catch (const std::exception& e) {
        // jsoncpp throws instead of reporting for some inputs, e.g. nesting beyond its limit.
        errors = e.what();
    }
    if (!parsed) {
        PARSE_JSON_LOGE("parse_json fail to parse json: %s\n", errors.c_str());
    }
    return parsed;
}

}  // namespace

uint32_t parse_json(const char* path, ModelCfg& model_cfg, GeneralCfg& general_cfg) {
    SelectedParamGroup selected;
    return parse_json(path, model_cfg, general_cfg, selected);
}

// jsoncpp throws Json::LogicError when a member has the wrong type (a string where a boolean
// belongs, an array as the root, a group that is not an object); the host must only ever see -1.
uint32_t parse_json(const char* path, ModelCfg& model_cfg, GeneralCfg& general_cfg,
                    SelectedParamGroup& selected) {
    try {
        selected = SelectedParamGroup{};
        std::ifstream file;
        if (path != nullptr) {
            file.open(path, std::ios::in | std::ios::binary);
        }
        if (!file.good() || !file.is_open()) {
            PARSE_JSON_LOGE("parse_json fail to open json\n");
            return kParseFailed;
        }
        Json::Value root;
        if (!readRoot(file, root)) {
            return kParseFailed;
        }
        const uint32_t result = readParameters(root, model_cfg, general_cfg, selected);
        file.close();
        return result;
    } catch (const std::exception& e) {
        PARSE_JSON_LOGE("parse_json fail to read parameter: %s\n", e.what());
    } catch (...) {
        PARSE_JSON_LOGE("parse_json fail to read parameter: %s\n", "unknown exception");
    }
    return kParseFailed;
}

}  // namespace assist
