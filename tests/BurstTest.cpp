// What of the bursts no call can bring about.
#include "Scene.h"
#include "zsl/sample/SampleSelector.h"

namespace ZslTest {
namespace {

using namespace NSCam::Sample;

/// A burst whose mapping lacks the calling request: an ERROR line if the gate lets it through, then the end.
void serveUnmapped(char const* level) {
    NSCam::Utils::Properties::set("log.tag.SampleSelector", level);
    ISelector::SelectInputParams in;
    in.requestNo = 7;
    in.ispHidlFrameIdx = 0;
    in.ispHidlFrameCnt = 1;
    LogName const logName("ispHidl", in, 1000);
    RequestLog const requestLog{"ispHidlSelect", logName, 1};
    BurstLines const lines{333, 344, 405};
    BurstCall(requestLog, lines, in).serveAndLock({});
}

constexpr char const* kAssertion = "F SampleSelector: .ispHidlSelect..#405:zsl/sample/SampleSelector.\r\n";

TEST(BurstDeathTest, ARequestWithoutMappingIsReported) {
    EXPECT_EXIT(
        serveUnmapped("E"), testing::KilledBySignal(SIGABRT),
        std::string("E SampleSelector: .Fatal. .ispHidlSelect. .r7,0/1000ms.<ispHidl>IspHidl.0/1. INVALID: R7 "
                    "fail to get request mapping .ispHidlSelect..#405:zsl/sample/SampleSelector.\n.*") +
            kAssertion);
}

TEST(BurstDeathTest, WithTheGateClosedTheAssertionStands) {
    EXPECT_EXIT(serveUnmapped("S"), testing::KilledBySignal(SIGABRT), std::string("^[-0-9:. ]+") + kAssertion);
}

}  // namespace
}  // namespace ZslTest
