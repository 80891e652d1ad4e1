// Stands between host and selector: passes every call through, and writes it down when that is asked for.
#include <dlfcn.h>
#include <unistd.h>
#include <vzrcam/Properties.h>

#include <chrono>
#include <cstdlib>
#include <exception>

#include "CallText.h"
#include "RecordingFile.h"

namespace NSCam::Recorder {

namespace {

using Create = void (*)(std::shared_ptr<ISelector>&);

/// The library that holds an address of code or data.
Dl_info libraryOf(void const* address) {
    Dl_info info{};
    dladdr(address, &info);
    return info;
}

/// This library; asked by an address that no other library's symbol can stand in for.
Dl_info ownLibrary() {
    static char const here = 0;
    return libraryOf(&here);
}

/// Opens the real selector: under its second name beside this library, else where the linker finds it by name, else
/// under its own name beside this library (a HAL that names whole paths may have told the linker of no folder).
void* openSelector() {
    char const* const own = ownLibrary().dli_fname;
    std::string folder = own != nullptr ? own : "";
    folder.erase(folder.rfind('/') + 1);
    std::string const name = "libvzrcam_zsl_sampleselector";
    std::string const second = folder + name + ".real.so";
    if (access(second.c_str(), F_OK) == 0) {
        return dlopen(second.c_str(), RTLD_NOW | RTLD_LOCAL);
    }
    void* const library = dlopen((name + ".so").c_str(), RTLD_NOW | RTLD_LOCAL);
    return library != nullptr ? library : dlopen((folder + name + ".so").c_str(), RTLD_NOW | RTLD_LOCAL);
}

/// The real selector's factory; null, with a line in the log, if there is none.
Create loadSelector() {
    void* const library = openSelector();
    auto const create =
        library == nullptr ? nullptr : reinterpret_cast<Create>(dlsym(library, "createCustomSelector"));
    if (create == nullptr) {
        char const* const error = dlerror();
        logError("recorder: no selector: " +
                 std::string(error != nullptr ? error : "createCustomSelector is null"));
        return nullptr;
    }
    if (libraryOf(reinterpret_cast<void const*>(create)).dli_fbase == ownLibrary().dli_fbase) {
        logError(
            "recorder: no selector: libvzrcam_zsl_sampleselector.so is the recorder itself, and "
            "libvzrcam_zsl_sampleselector.real.so is not beside it");
        return nullptr;
    }
    return create;
}

/// The properties that a selector reads, as it reads them.
std::string propertiesText() {
    namespace Properties = Utils::Properties;
    std::string text = "{\"vendor.debug.camera.log.zsl.sample\":";
    text += std::to_string(Properties::property_get_int32("vendor.debug.camera.log.zsl.sample", 1));
    text += ",\"vendor.debug.camera.zsl.runtime.adb\":";
    text += std::to_string(Properties::property_get_bool("vendor.debug.camera.zsl.runtime.adb", 0));
    for (char const* const name : {"policy", "timeout", "hint"}) {
        std::string const property = std::string("vendor.debug.camera.zsl.force.") + name;
        text += ",\"" + property + "\":" + std::to_string(Properties::property_get_int64(property.c_str(), -1));
    }
    return text + "}";
}

int64_t monotonicNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

/// A name as JSON text; what needs an escape is left out.
std::string quoted(char const* name) {
    std::string text = "\"";
    for (; name != nullptr && *name != '\0'; ++name) {
        bool const isPlain = *name >= ' ' && *name != '"' && *name != '\\' && *name != '\x7F';
        text += isPlain ? std::string(1, *name) : "";
    }
    return text + '"';
}

/// The process's file; null, if there is none to be had.
std::shared_ptr<RecordingFile> processFile(ISelector const& selector) {
    static std::mutex mutex;
    static std::shared_ptr<RecordingFile> file;
    static bool isTried = false;
    std::lock_guard<std::mutex> const lock(mutex);
    if (isTried) {
        return file;
    }
    isTried = true;
    constexpr int64_t kMegabyte = 1000000;
    int64_t const most = Utils::Properties::property_get_int64("vendor.debug.camera.zsl.record.mb", 64);
#ifdef __ANDROID__
    char const* const defaultFolder = "/data/vendor/camera";
#else
    char const* const defaultFolder = ".";
#endif
    char const* const folder = std::getenv("ZSL_RECORD_DIR");
    file = RecordingFile::open(folder != nullptr && *folder != '\0' ? folder : defaultFolder,
                               static_cast<uint64_t>(most > 0 && most < 1000000 ? most : 64) * kMegabyte);
    if (file != nullptr) {
        auto const epochMs = std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::system_clock::now().time_since_epoch())
                                 .count();
        file->properties() = propertiesText();
        file->write("{\"format\":\"zsl-recording\",\"version\":1,\"plugin\":" + quoted(selector.getName()) +
                    ",\"process\":" + std::to_string(getpid()) + ",\"startedAtMs\":" + std::to_string(epochMs) +
                    ",\"ns\":" + std::to_string(monotonicNs()) + ",\"properties\":" + file->properties() + "}");
    }
    return file;
}

class Recorder : public ISelector {
  public:
    explicit Recorder(std::shared_ptr<ISelector> inner) : mInner(std::move(inner)) {
        if (Utils::Properties::property_get_bool("vendor.debug.camera.zsl.record", 0) == 0) {
            return;
        }
        guarded([&] {
            mFile = processFile(*mInner);
            if (mFile != nullptr) {
                std::lock_guard<std::mutex> const lock(mFile->mutex());
                mNumber = mFile->nextSelector();
                mFile->write("{\"made\":" + std::to_string(mNumber) + ",\"ns\":" + std::to_string(monotonicNs()) +
                             "}");
            }
        });
    }

    ~Recorder() override {
        if (mFile != nullptr) {
            guarded([&] {
                std::lock_guard<std::mutex> const lock(mFile->mutex());
                mFile->write("{\"gone\":" + std::to_string(mNumber) + ",\"ns\":" + std::to_string(monotonicNs()) +
                             "}");
            });
        }
    }

    Recorder(Recorder const&) = delete;
    Recorder& operator=(Recorder const&) = delete;

    char const* getName() const override { return mInner->getName(); }

    SelectOutputParams select(SelectInputParams const& in) override {
        if (mFile == nullptr) {
            return mInner->select(in);
        }
        return selectRecorded(in);
    }

  private:
    SelectOutputParams selectRecorded(SelectInputParams const& in) {
        guarded([&] { tellProperties(); });
        int64_t const begin = monotonicNs();
        SelectOutputParams out = mInner->select(in);
        int64_t const took = monotonicNs() - begin;
        guarded([&] {
            std::lock_guard<std::mutex> const lock(mFile->mutex());
            if (!mFile->isOpen()) {
                return;
            }
            std::string line = "{\"call\":" + std::to_string(mFile->nextCall()) +
                               ",\"selector\":" + std::to_string(mNumber) + ",\"ns\":" + std::to_string(begin) +
                               ",\"tookNs\":" + std::to_string(took) + ",";
            mText.append(line, in, out);
            line += '}';
            mFile->write(std::move(line));
        });
        return out;
    }

    /// The selector reads its properties again at each call.
    void tellProperties() {
        std::lock_guard<std::mutex> const lock(mFile->mutex());
        if (!mFile->isOpen()) {
            return;
        }
        std::string const properties = propertiesText();
        if (properties != mFile->properties()) {
            mFile->properties() = properties;
            mFile->write("{\"properties\":" + properties + "}");
        }
    }

    /// Nothing that goes wrong with the recording may reach the host.
    template <typename Work>
    void guarded(Work work) noexcept {
        try {
            work();
        } catch (...) {
            if (mFile != nullptr) {
                mFile->fail("out of memory");
            }
        }
    }

    std::shared_ptr<ISelector> mInner;
    std::shared_ptr<RecordingFile> mFile;
    uint64_t mNumber = 0;
    CallText mText;
};

}  // namespace

}  // namespace NSCam::Recorder

extern "C" void createCustomSelector(std::shared_ptr<NSCam::ZslPolicy::ISelector>& selector) {
    using namespace NSCam::Recorder;
    static Create const create = loadSelector();
    if (create == nullptr) {
        return;
    }
    std::shared_ptr<ISelector> inner;
    create(inner);
    if (inner != nullptr) {
        selector = std::make_shared<Recorder>(std::move(inner));
    }
}
