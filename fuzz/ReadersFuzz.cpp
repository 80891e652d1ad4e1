// Bytes for the replay tool's readers: they read or complain, nothing else.
#include <string>

#include "replay/explain/Logcat.h"
#include "replay/input/PhoneDump.h"
#include "replay/input/RecordedSession.h"
#include "replay/input/SessionReader.h"
#include "replay/model/InputError.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    // The first byte chooses the reader, and for dumps whether runs are bursts.
    std::string const text(reinterpret_cast<char const*>(data + 1), size - 1);
    try {
        if (data[0] == 'j') {
            Replay::readSession(text, "fuzz");
        } else if (data[0] == 'l') {
            Replay::readLogcat(text);
        } else if (data[0] == 'r') {
            Replay::readRecordedSessions(text, "fuzz");
        } else {
            Replay::DumpOptions options;
            options.asBursts = data[0] == 'b';
            options.maxFrames = 2000;
            Replay::readPhoneDump(text, "fuzz", options);
        }
    } catch (Replay::InputError const&) {
    }
    return 0;
}
