// The stand-in for the device's libraries.
#include <android/log.h>
#include <gtest/gtest.h>
#include <vzrcam/LogGate.h>
#include <vzrcam/LogSink.h>
#include <vzrcam/Metadata.h>
#include <vzrcam/Properties.h>
#include <vzrcam/PropertyStore.h>

#include <climits>
#include <iomanip>
#include <regex>
#include <sstream>

namespace {

namespace Properties = NSCam::Utils::Properties;
using NSCam::IMetadata;
using NSCam::Metadata;

TEST(Properties, NumbersAndWordsAsAndroidReadsThem) {
    // A text in quotes, what it is as a bool (5: the default) and as a number (-7: the default).
    std::istringstream cases(R"("1" 1 1 "0" 0 0 "true" 1 -7 "false" 0 -7 "y" 1 -7 "n" 0 -7 "yes" 1 -7 "no" 0 -7
        "on" 1 -7 "off" 0 -7 "TRUE" 5 -7 "2" 5 2 "" 5 -7 "-5" 5 -5 "0x30005" 5 196613 "0X1f" 5 31 "-0x10" 5 -16
        "12 " 5 -7 "1e3" 5 -7 "0x" 5 -7 "+3" 5 3 "9223372036854775807" 5 9223372036854775807
        "9223372036854775808" 5 -7 "-9223372036854775808" 5 -9223372036854775808)");
    std::string text;
    int bit = 0;
    size_t count = 0;
    for (long number = 0; cases >> std::quoted(text) >> bit >> number; ++count) {
        Properties::set("test.value", text);
        EXPECT_EQ(Properties::property_get_bool("test.value", 5), bit) << text;
        EXPECT_EQ(Properties::property_get_int64("test.value", -7), number) << text;
        bool const fitsInt = number >= INT_MIN && number <= INT_MAX;
        EXPECT_EQ(Properties::property_get_int32("test.value", -7), fitsInt ? number : -7) << text;
    }
    EXPECT_EQ(count, 24U);
    EXPECT_EQ(Properties::property_get_int64("test.unset", 42), 42);
    EXPECT_EQ(Properties::property_get_bool("test.unset", 1), 1);
}

TEST(Properties, FilesOfEitherForm) {
    std::istringstream good("# comment\n\n a.b = 1 \n[c.d]: [two words]\ne=f=g\nh=\n");
    Properties::load(good, "props");
    EXPECT_EQ(Properties::get("a.b"), "1");
    EXPECT_EQ(Properties::get("c.d"), "two words");
    EXPECT_EQ(Properties::get("e"), "f=g");
    EXPECT_EQ(Properties::get("h"), "");
    for (std::string const text :
         {"i=1\nno equals\n|props:2: expected name=value, found 'no equals'",
          "[i] [1]|props:1: expected [name]: [value], found '[i] [1]'", "=1|props:1: '' is no property name",
          "a b=1|props:1: 'a b' is no property name"}) {
        std::istringstream lines(text.substr(0, text.find('|')));
        try {
            Properties::load(lines, "props");
            ADD_FAILURE() << text;
        } catch (Properties::PropertyError const& error) {
            EXPECT_EQ(error.what(), text.substr(text.find('|') + 1));
        }
    }
    EXPECT_FALSE(Properties::get("i").has_value());  // a bad file sets nothing
}

TEST(Metadata, TypedEntriesByTag) {
    Metadata metadata;
    for (uint32_t const tag : {5U, 1U, 0xC0000005U, 3U}) {
        metadata.set(tag, static_cast<int32_t>(tag));
    }
    metadata.set(3, std::vector<int64_t>{30, 31});
    metadata.set(5, uint8_t{50});
    metadata.erase(1);
    metadata.erase(2);
    int32_t word = -1;
    int64_t wide = -1;
    uint8_t byte = 9;
    EXPECT_TRUE(IMetadata::getEntry(&metadata, 0xC0000005, word, 0) && word == static_cast<int32_t>(0xC0000005));
    EXPECT_TRUE(IMetadata::getEntry(&metadata, 3, wide, 1) && wide == 31);
    EXPECT_TRUE(IMetadata::getEntry(&metadata, 5, byte, 0) && byte == 50);
    EXPECT_FALSE(IMetadata::getEntry(&metadata, 3, wide, 2));  // no such item
    EXPECT_FALSE(IMetadata::getEntry(nullptr, 5, word, 0));
    for (uint32_t const tag : {5U, 1U, 2U, 0xFFFFFFFFU}) {  // 5 has another type
        EXPECT_FALSE(IMetadata::getEntry(&metadata, tag, word, 0)) << tag;
    }
    EXPECT_EQ(word, static_cast<int32_t>(0xC0000005));  // stays
    EXPECT_EQ(wide, 31);
}

TEST(Log, TheGateFollowsItsProperty) {
    std::vector<std::pair<std::string, std::string>> const cases = {{"V", "VDIWEF"}, {"D", "DIWEF"}, {"i", "IWEF"},
                                                                    {"WARN", "WEF"}, {"E", "EF"},    {"F", "F"},
                                                                    {"S", ""},       {"?", "IWEF"},  {"", "IWEF"}};
    for (auto const& c : cases) {
        Properties::set("log.tag.SampleSelector", c.first);
        std::string open;
        for (char const level : std::string("VDIWEF")) {
            open += vzrcam_testLog("SampleSelector", level) != 0 ? std::string(1, level) : "";
        }
        EXPECT_EQ(open, c.second) << c.first;
        EXPECT_EQ(vzrcam_testLog("SampleSelector", 'x'), 0);
        EXPECT_EQ(vzrcam_testLog("SampleSelector", -1), 0);
    }
    Properties::clear();
    EXPECT_EQ(vzrcam_testLog("SampleSelector", 'D'), 0);
    EXPECT_NE(vzrcam_testLog("SampleSelector", 'I'), 0);
}

#ifndef ZSL_SYSTEM_LIBLOG
TEST(Log, LinesGoToStandardErrorOrASink) {
    std::string const longText(5000, 'x');
    testing::internal::CaptureStderr();
    __android_log_print(4, "SampleSelector", "%s %d", "text", 7);
    std::string const line = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(std::regex_match(
        line, std::regex(R"(\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} +\d+ +\d+ I SampleSelector: text 7\n)")))
        << line;
    std::string taken;
    NSCam::Utils::Log::setSink([&](int priority, char const* tag, std::string const& text) {
        taken = std::to_string(priority) + tag + text;
    });
    __android_log_print(6, "Tag", "%s", longText.c_str());
    NSCam::Utils::Log::setSink({});
    EXPECT_EQ(taken, "6Tag" + longText);
}

TEST(LogDeathTest, AnAssertionWritesAndAborts) {
    EXPECT_EXIT(__android_log_assert("x > 1", "Tag", nullptr), testing::KilledBySignal(SIGABRT), "F Tag: .*x > 1");
}
#endif

}  // namespace
