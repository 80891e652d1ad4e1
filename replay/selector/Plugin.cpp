#include "Plugin.h"

#include <dlfcn.h>

namespace Replay {

Plugin::Plugin(std::string const& path) : mHandle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)), mFactory(nullptr) {
    if (mHandle == nullptr) {
        throw PluginError("cannot load the plug-in " + path + ": " + dlerror());
    }
    mFactory = reinterpret_cast<decltype(mFactory)>(dlsym(mHandle, "createCustomSelector"));
    if (mFactory == nullptr) {
        dlclose(mHandle);
        throw PluginError("the plug-in " + path + " has no createCustomSelector");
    }
}

Plugin::~Plugin() { dlclose(mHandle); }

std::shared_ptr<NSCam::ZslPolicy::ISelector> Plugin::makeSelector() const {
    std::shared_ptr<NSCam::ZslPolicy::ISelector> selector;
    mFactory(selector);
    return selector;
}

}  // namespace Replay
