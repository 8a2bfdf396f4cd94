#include "StandinModel.h"

#include <sys/system_properties.h>

#include <cstring>

#include "standin_control.h"

namespace standin {

bool scriptModeSelected() {
    char mode[PROP_VALUE_MAX] = {0};
    __system_property_get(STANDIN_MODE_PROPERTY, mode);
    return std::strcmp(mode, STANDIN_MODE_SCRIPT) == 0;
}

std::unique_ptr<Model> makeModel(const std::vector<uint8_t>& bytes, const ModelOptions& options,
                                 const State& state, std::string* error) {
    if (scriptModeSelected())
        return makeScriptedModel(state);
    return makeEngineModel(bytes, options, error);
}

}  // namespace standin
