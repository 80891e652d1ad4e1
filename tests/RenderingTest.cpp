#include "zsl/policy/Rendering.h"

#include <gtest/gtest.h>

using NSCam::ZslPolicy::ISelector;
using NSCam::ZslPolicy::StreamSets;
using NSCam::ZslPolicy::toString;

TEST(Rendering, PolicyShowsItsNamedBits) {
    struct {
        uint32_t policy;
        char const* text;
    } const cases[] = {
        {0, "{ None }"},
        {0x10, "{ }"},
        {0x30005, "{ AFStable AESoftStable ZeroShutterDelay ContinuousFrame }"},
        {0x20005, "{ AFStable AESoftStable ContinuousFrame }"},
        {0xFEFFFFFF, "{ AFStable AEStable AESoftStable FrameSync ZeroShutterDelay ContinuousFrame }"},
        {0x1000005, "{ ForcePending }"}};
    for (auto const& c : cases) {
        EXPECT_EQ(NSCam::Sample::toString(c.policy), c.text);
    }
}

TEST(Rendering, HistoryFrame) {
    ISelector::HistoryFrame frame{120, 58, 5000, {}, {}, {{1, 2}, {10}, {20}}, false};
    EXPECT_EQ(toString(frame), "[F120 R58 ts:5000 ss(2,1,1) locked=0]");
    frame = {0xFFFFFFFF, 0xFFFFFFFE, -1, {}, {}, {{}, {1, 2}, {1, 2, 3}}, true};
    EXPECT_EQ(toString(frame), "[F4294967295 R4294967294 ts:-1 ss(0,2,3) locked=1]");
}

TEST(Rendering, StreamSetsInLongForm) {
    EXPECT_EQ(toString(StreamSets{{1, 2}, {10}, {}}, false), "halImages[1 2 ]; halMetas[a ]; appMetas[]");
    EXPECT_EQ(toString(StreamSets{{}, {}, {-1, 0, 255}}, false),
              "halImages[]; halMetas[]; appMetas[ffffffffffffffff 0 ff ]");
}

TEST(Rendering, PreCollectsNameEveryStatus) {
    std::map<unsigned, ISelector::PreCollectSelectInfo> preCollects;
    EXPECT_EQ(toString(preCollects), "");
    for (uint32_t status : {0U, 1U, 2U, 3U, 4U, 7U}) {
        preCollects[120 + status] = {58, static_cast<ISelector::PreCollectStatus>(status)};
    }
    EXPECT_EQ(toString(preCollects),
              "[120]=R58 Status=Register [121]=R58 Status=Inflight [122]=R58 Status=Ready "
              "[123]=R58 Status=Select [124]=R58 Status=Timeout [127]=R58 Status=Not Defined ");
}
