#include "plugin/ParameterDescription.h"

#include "dsp/hum/Kalimmer.h"
#include "plugin/ParameterList.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <stdexcept>

namespace
{

const auto processor = std::make_shared<orvo::audio::Kalimmer>();

ParameterDescription
describe(int id, float interval,
         ParameterDescription::ParameterMappingMode mode = ParameterDescription::Linear)
{
    return {processor, id, "Name", "", interval, mode};
}

} // namespace

TEST(ParameterDescription, mapsLinearlyAndLogarithmicallyAndInNoOtherWay)
{
    ParameterDescription linear = describe(0, 1.0F);
    ParameterDescription logarithmic = describe(0, 1.0F, ParameterDescription::Logarithmic);
    EXPECT_FLOAT_EQ(linear.getNormalizedParameterValue(), 10.0F / 460.0F);
    EXPECT_FLOAT_EQ(logarithmic.getNormalizedParameterValue(), std::log(1.25F) / std::log(12.5F));
    linear.setNormalizedParameterValue(0.25F, false);
    EXPECT_FLOAT_EQ(linear.getNaturalValue(), 155.0F);
    linear.setNormalizedParameterValue(7.0F, false); // limited by the processor, not here
    EXPECT_FLOAT_EQ(linear.getNaturalValue(), 500.0F);
    logarithmic.setNormalizedParameterValue(0.5F, false);
    EXPECT_FLOAT_EQ(logarithmic.getNaturalValue(), std::sqrt(40.0F * 500.0F));
    EXPECT_FLOAT_EQ(linear.getDefaultNormalizedValue(), 10.0F / 460.0F);
    EXPECT_FLOAT_EQ(logarithmic.getDefaultValue(), 50.0F);

    const auto unknown = static_cast<ParameterDescription::ParameterMappingMode>(2);
    EXPECT_THROW(describe(0, 1.0F, unknown), std::runtime_error);
}

TEST(ParameterDescription, writesSwitchesAndNumbersWithASpaceAtTheEnd)
{
    processor->setParameterValue(1, 0.5F, false);
    EXPECT_EQ(describe(1, 100.0F).getText(), "Off ");
    EXPECT_EQ(describe(1, 0.1F).getText(), "0.50 ");
    processor->setParameterValue(1, 0.51F, false);
    EXPECT_EQ(describe(1, 100.0F).getText(), "On ");
}

TEST(ParameterList, findsByPublicIndexAndByInternalId)
{
    ParameterList list;
    for (const int id : {2, 0})
        list.add(std::make_unique<ParameterDescription>(processor, id, "Name", "", 1.0F,
                                                        ParameterDescription::Linear));
    EXPECT_EQ(list.findIndexByInternalId(0), 1);
    EXPECT_EQ(list.findIndexByInternalId(1), -1);
    EXPECT_EQ(list.findByInternalId(1), nullptr);
    EXPECT_EQ(list.find(0)->getInternalId(), 2);
    EXPECT_EQ(list.find(-1), nullptr);
    EXPECT_EQ(list.find(2), nullptr);
}
