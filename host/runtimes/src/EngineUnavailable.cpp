// Builds without the host engine: engine mode refuses every model, script mode works as usual.
#include "StandinModel.h"

namespace standin {

std::unique_ptr<Model> makeEngineModel(const std::vector<uint8_t>&, const ModelOptions&,
                                       std::string* error) {
    *error = "this build has no host engine; set " STANDIN_MODE_PROPERTY "=script";
    return nullptr;
}

}  // namespace standin
