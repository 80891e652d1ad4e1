#include "RealPlugin.h"

#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <string>

#include "HostData.h"
#include "RecordingFolder.h"

namespace NSCam::Recorder::RealPlugin {

namespace {

using Create = void (*)(std::shared_ptr<ZslPolicy::ISelector>&);

constexpr int64_t kUnread = -2;
constexpr int64_t kUnknown = -1;

// All of them have no destructor: the process may end while a selector is at work.
std::atomic<void*> theLibrary{nullptr};
std::atomic<int64_t> theSwitch{kUnread};
std::atomic<int64_t> theCalled{0};

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
void* open() {
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

/// The plug-in's factory; null, with a line in the log, if there is none.
Create load() {
    void* const library = open();
    auto const create =
        library == nullptr ? nullptr : reinterpret_cast<Create>(dlsym(library, "createCustomSelector"));
    if (create == nullptr) {
        char const* const error = dlerror();
        logError(
            ("recorder: no selector: " + std::string(error != nullptr ? error : "createCustomSelector is null"))
                .c_str());
    } else if (libraryOf(reinterpret_cast<void const*>(create)).dli_fbase == ownLibrary().dli_fbase) {
        char const* const own = ownLibrary().dli_fname;
        logError(("recorder: no selector: " + std::string(own != nullptr ? own : "the library") +
                  " is a recorder; the plug-in is expected there, or beside it as "
                  "libvzrcam_zsl_sampleselector.real.so")
                     .c_str());
    } else {
        theLibrary.store(library);
        return create;
    }
    if (library != nullptr) {
        dlclose(library);
    }
    return nullptr;
}

}  // namespace

std::shared_ptr<ZslPolicy::ISelector> makeSelector() {
    static Create const create = load();
    std::shared_ptr<ZslPolicy::ISelector> selector;
    if (create != nullptr) {
        create(selector);
    }
    return selector;
}

void close() {
    if (void* const library = theLibrary.exchange(nullptr)) {
        dlclose(library);
    }
}

FirstCall::FirstCall() : mIsFirst(false), mSwitch(kUnknown) {
    theCalled.fetch_add(1);
    try {
        mSwitch = readRuntimeSwitch();
    } catch (...) {  // no memory: it stays unknown
    }
    int64_t unread = kUnread;
    mIsFirst = theSwitch.compare_exchange_strong(unread, kUnknown);
}

/// Whoever calls the plug-in has been here, so that it did not read before mSwitch was.
void FirstCall::hasAnswered() const {
    if (mIsFirst && mSwitch != kUnknown && readRuntimeSwitch() == mSwitch) {
        theSwitch.store(mSwitch);
    }
}

int64_t runtimeSwitch() {
    int64_t const known = theSwitch.load(std::memory_order_relaxed);
    return known == kUnread ? kUnknown : known;
}

int64_t calledSelectors() { return theCalled.load(std::memory_order_relaxed); }

}  // namespace NSCam::Recorder::RealPlugin
