#include "dsp/signal/AudioFormat.h"

#include "dsp/signal/SpeakerDescription.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace orvo::audio
{
namespace
{

std::vector<int> mappingAfter(AudioFormat format, int numChannels)
{
    format.createDefaultChannelMapping(numChannels);
    std::vector<int> ids;
    for (const SpeakerId id : format.channelMapping)
        ids.push_back(static_cast<int>(id));
    return ids;
}

TEST(AudioFormat, givesUpToEightChannelsTheirUsualLoudspeakers)
{
    const std::vector<std::vector<int>> layouts = {{},
                                                   {1},
                                                   {2, 3},
                                                   {2, 3, 5},
                                                   {2, 3, 6, 7},
                                                   {2, 3, 4, 6, 7},
                                                   {2, 3, 4, 5, 6, 7},
                                                   {2, 3, 4, 6, 7, 11, 12},
                                                   {2, 3, 4, 5, 6, 7, 11, 12}};
    AudioFormat used;
    used.channelMapping.assign(5, SpeakerId::topMiddle);
    for (std::size_t numChannels = 0; numChannels < layouts.size(); ++numChannels)
        for (const AudioFormat& before : {AudioFormat(), used})
            EXPECT_EQ(mappingAfter(before, static_cast<int>(numChannels)), layouts[numChannels]);
}

TEST(AudioFormat, keepsKnownLoudspeakersBeyondEightChannels)
{
    AudioFormat stereo;
    stereo.createDefaultChannelMapping(2);
    EXPECT_EQ(mappingAfter(stereo, 10), (std::vector<int>{2, 3, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(mappingAfter(stereo, -1), std::vector<int>());
}

TEST(SpeakerDescription, limitsTheLowFrequencyChannelOnly)
{
    for (int id = 0; id < 20; ++id)
        EXPECT_EQ(SpeakerDescription(SpeakerId{id}).bandLimit, id == 5 ? 120.0F : -1.0F) << id;
}

TEST(SpeakerDescription, placesLeftAndRightAsMirrorImages)
{
    using enum SpeakerId;
    const SpeakerId pairs[][2] = {{left, right},
                                  {leftSurround, rightSurround},
                                  {leftOfCenter, rightOfCenter},
                                  {sideLeft, sideRight},
                                  {topFrontLeft, topFrontRight}};
    for (const auto& [first, second] : pairs)
    {
        const SpeakerDescription a(first);
        const SpeakerDescription b(second);
        EXPECT_LT(a.x, 0.0F) << a.longName;
        EXPECT_EQ(a.x, -b.x) << a.longName;
        EXPECT_EQ(a.y, b.y) << a.longName;
        EXPECT_EQ(a.z, b.z) << a.longName;
    }
    EXPECT_EQ(SpeakerDescription(topRearLeft).x, 1.0F); // the one odd place, kept for old settings
}

TEST(SpeakerDescription, namesEveryPositionDifferently)
{
    std::set<std::string> names;
    for (int id = 0; id < 20; ++id)
    {
        names.insert(SpeakerDescription(SpeakerId{id}).shortName);
        names.insert(SpeakerDescription(SpeakerId{id}).longName);
    }
    EXPECT_EQ(names.size(), 40U);
    EXPECT_EQ(SpeakerDescription(SpeakerId::topFrontCenter).shortName, "TFC");
}

TEST(SpeakerDescription, callsUnknownPositionsUndefined)
{
    for (const int id : {0, 20, -1})
    {
        const SpeakerDescription unknown(SpeakerId{id});
        EXPECT_EQ(unknown.shortName, "N/A");
        EXPECT_EQ(unknown.longName, "Undefined");
        EXPECT_EQ(unknown.x, 0.0F);
        EXPECT_EQ(static_cast<int>(unknown.id), id);
    }
}

} // namespace
} // namespace orvo::audio
