#include "BodySegmentEntries.h"

#include "KavoExport.h"
#include "LogPrintf.h"
#include "StatusCodes.h"

namespace bodysegment {

namespace {
constexpr const char kVersion[] = "body-detection_mtk-neuropilot6_342x456_V2.0.6";
}  // namespace

const char* getVersion() {
    KAVO_TRACE_ENTRY();
    KAVO_TRACE_EXIT();
    return kVersion;
}

void setLogLevel(int level) {
    KAVO_TRACE_ENTRY();
    kavo::LogPrintf::setLogStatus(level);
    KAVO_TRACE_EXIT();
}

}  // namespace bodysegment

extern "C" KAVO_EXPORT int getAlgoAPI(BodySegAlgoAPI* table) {
    KAVO_TRACE_ENTRY();
    if (table == nullptr) {
        KAVO_LOGE("get body segment api failed");
        KAVO_TRACE_EXIT();
        return SDK_FAILURE;
    }
    table->getVersion = bodysegment::getVersion;
    table->setLogLevel = bodysegment::setLogLevel;
    table->statusToString = statusToString;
    table->algoInitHandle = bodysegment::algoInitHandle;
    table->setParameters = bodysegment::setParameters;
    table->getParameters = bodysegment::getParameters;
    table->processImage = bodysegment::processImage;
    table->releaseHandle = bodysegment::releaseHandle;
    KAVO_LOGI("get body segment api success");
    KAVO_TRACE_EXIT();
    return SDK_SUCCESS;
}

extern "C" KAVO_EXPORT int get_algo_api(BodySegAlgoAPIV1* table) {
    KAVO_TRACE_ENTRY();
    if (table == nullptr) {
        KAVO_LOGE("get body segment api failed");
        KAVO_TRACE_EXIT();
        return SDK_FAILURE;
    }
    table->getVersion = bodysegment::getVersion;
    table->setLogLevel = bodysegment::setLogLevel;
    table->algoInitHandle = bodysegment::algoInitHandle;
    table->processImage = bodysegment::processImageV1;
    table->releaseHandle = bodysegment::releaseHandle;
    KAVO_LOGI("get body segment api success");
    KAVO_TRACE_EXIT();
    return SDK_SUCCESS;
}
