// The plug-in, loaded as its host loads it.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "zsl/policy/ISelector.h"

namespace Replay {

/// The plug-in cannot be loaded. what() names the path and the reason.
struct PluginError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Loads the library and keeps it loaded for the life of the object, which must outlive its selectors.
class Plugin {
  public:
    /// `path` as dlopen takes it: with a slash a file, without one a name on the library path.
    explicit Plugin(std::string const& path);
    ~Plugin();
    Plugin(Plugin const&) = delete;
    Plugin& operator=(Plugin const&) = delete;

    std::shared_ptr<NSCam::ZslPolicy::ISelector> makeSelector() const;

  private:
    void* mHandle;
    decltype(&createCustomSelector) mFactory;
};

}  // namespace Replay
