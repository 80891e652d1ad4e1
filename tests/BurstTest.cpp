// What of the bursts no call can bring about.
#include "Scene.h"
#include "zsl/sample/ReprocessBurst.h"

namespace ZslTest {
namespace {

/// The inconsistencies that no call can bring about end the process.
TEST(BurstDeathTest, ARequestWithoutMapping) {
    using namespace NSCam::Sample;
    ISelector::SelectInputParams in;
    in.requestNo = 7;
    in.ispHidlFrameIdx = 0;
    in.ispHidlFrameCnt = 1;
    LogName const logName("ispHidl", in, 1000);
    RequestLog const requestLog{"ispHidlSelect", logName, 1};
    BurstLines const lines{333, 344, 405};
    auto const serveUnmapped = [&] {
        BurstRecord empty;
        BurstCall(requestLog, lines, in).serveAndLock(empty);
    };
    EXPECT_EXIT(
        serveUnmapped(), testing::KilledBySignal(SIGABRT),
        "E SampleSelector: .Fatal. .ispHidlSelect. .r7,0/1000ms.<ispHidl>IspHidl.0/1. INVALID: R7 fail to get "
        "request mapping .ispHidlSelect..#405:zsl/sample/SampleSelector.\n.*"
        "F SampleSelector: .ispHidlSelect..#405:zsl/sample/SampleSelector.\r\n");
}

}  // namespace
}  // namespace ZslTest
