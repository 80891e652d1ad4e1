#include <gtest/gtest.h>
#include <vzrcam/PropertyStore.h>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    // Read once in a process: the force properties count in every test of this program.
    NSCam::Utils::Properties::set("vendor.debug.camera.zsl.runtime.adb", "1");
    return RUN_ALL_TESTS();
}
