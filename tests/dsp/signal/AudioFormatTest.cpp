#include "dsp/signal/AudioFormat.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

using namespace orvo::audio;

TEST(AudioFormat, givesUpToEightChannelsTheirUsualLoudspeakersAndKeepsThemBeyond)
{
    const std::string layouts[] = {"",
                                   "M ",
                                   "L R ",
                                   "L R LFE ",
                                   "L R LS RS ",
                                   "L R C LS RS ",
                                   "L R C LFE LS RS ",
                                   "L R C LS RS SL SR ",
                                   "L R C LFE LS RS SL SR ",
                                   "L R C LFE LS RS SL SR N/A "};
    AudioFormat format;
    for (int numChannels = 0; numChannels < 10; ++numChannels)
    {
        format.createDefaultChannelMapping(numChannels);
        std::string names;
        for (const SpeakerId id : format.channelMapping)
            names += SpeakerDescription(id).shortName + " ";
        EXPECT_EQ(names, layouts[numChannels]);
    }
    format.createDefaultChannelMapping(-1);
    EXPECT_EQ(format.getNumChannels(), 0);
}

TEST(SpeakerDescription, namesEachDifferently)
{
    std::set<std::string> names;
    for (int id = 0; id < 20; ++id)
        names.insert({SpeakerDescription(SpeakerId{id}).shortName,
                      SpeakerDescription(SpeakerId{id}).longName});
    EXPECT_EQ(names.size(), 40U);
    for (const int id : {0, 20, -1})
        EXPECT_EQ(SpeakerDescription(SpeakerId{id}).longName, "Undefined") << id;
}
