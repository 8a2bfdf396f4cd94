// The runtime named by the configuration picks the factory; a value no runtime has picks none, so
// that handle initialisation fails cleanly instead of calling through an empty factory slot.
#include <gtest/gtest.h>

#include <memory>

#include "ALGOGalloc.h"
#include "BodySegFty.h"
#include "FactorySelection.h"

namespace {

TEST(FactorySelection, EachRuntimeValueMakesItsFactoryAndOthersNone) {
    std::unique_ptr<bodysegment::ModelImpFtyBase> neuropilot(bodysegment::createModelImpFactory(0));
    std::unique_ptr<bodysegment::ModelImpFtyBase> neuron(bodysegment::createModelImpFactory(1));
    EXPECT_NE(dynamic_cast<bodysegment::BodySegNeuropilotFty*>(neuropilot.get()), nullptr);
    EXPECT_NE(dynamic_cast<bodysegment::BodySegNeuronFty*>(neuron.get()), nullptr);
    for (int value : {-1, 2, 3, 23, 65535})
        EXPECT_EQ(bodysegment::createModelImpFactory(value), nullptr) << value;
}

}  // namespace
