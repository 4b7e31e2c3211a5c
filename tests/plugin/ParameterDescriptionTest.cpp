#include "plugin/ParameterDescription.h"

#include "plugin/ParameterList.h"
#include "tests/plugin/DelayingProcessor.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

namespace
{

const auto processor = std::make_shared<DelayingProcessor>();

ParameterDescription
describe(int id, float interval, const char* unit = "",
         ParameterDescription::ParameterMappingMode mode = ParameterDescription::Linear)
{
    return {processor, id, "Name", unit, interval, mode};
}

} // namespace

TEST(ParameterDescription, mapsLinearlyAndLogarithmically)
{
    ParameterDescription linear = describe(0, 1.0F);
    EXPECT_FLOAT_EQ(linear.getNormalizedParameterValue(), 0.5F);
    EXPECT_FLOAT_EQ(linear.getDefaultNormalizedValue(), 0.5F);
    linear.setNormalizedParameterValue(0.25F, false);
    EXPECT_FLOAT_EQ(linear.getNaturalValue(), 65.0F);
    linear.setNormalizedParameterValue(7.0F, false); // limited by the processor, not here
    EXPECT_FLOAT_EQ(linear.getNaturalValue(), 200.0F);

    ParameterDescription logarithmic = describe(1, 1.0F, "", ParameterDescription::Logarithmic);
    EXPECT_FLOAT_EQ(logarithmic.getNormalizedParameterValue(), 1.0F / 3.0F);
    logarithmic.setNormalizedParameterValue(0.5F, false);
    EXPECT_FLOAT_EQ(logarithmic.getNaturalValue(), 31.622776F);
    EXPECT_FLOAT_EQ(logarithmic.getDefaultValue(), 10.0F);
}

TEST(ParameterDescription, refusesAnUnknownMapping)
{
    const auto unknown = static_cast<ParameterDescription::ParameterMappingMode>(2);
    EXPECT_THROW(describe(0, 1.0F, "", unknown), std::runtime_error);
}

TEST(ParameterDescription, writesSwitchesAndNumbersWithASpaceBeforeTheUnit)
{
    processor->setParameterValue(2, 0.5F, false);
    EXPECT_EQ(describe(2, 1.0F).getText(), "Off ");
    EXPECT_EQ(describe(2, 0.1F).getText(), "0.50 ");
    processor->setParameterValue(2, 0.51F, false);
    EXPECT_EQ(describe(2, 1.0F).getText(), "On ");
    processor->setParameterValue(0, 50.0F, false);
    EXPECT_EQ(describe(0, 1.0F, "Hz").getText(), "50.00 Hz");
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
