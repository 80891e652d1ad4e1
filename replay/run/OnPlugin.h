// The plug-in in the process that is to call it: loaded, called, and its exceptions told while it is still there.
#pragma once

#include <fmt/core.h>

#include "replay/host/Host.h"
#include "replay/model/InputError.h"
#include "replay/selector/Plugin.h"

namespace Replay {

/// Answers `call(plugin)` on the library of this path. What the plug-in throws, whatever its class, becomes a
/// BrokenPlugin with its text before the library, which holds that class, is unloaded. Throws PluginError if there
/// is no such library.
template <typename Call>
auto onPlugin(std::string const& path, Call const& call) {
    Plugin const plugin(path);
    try {
        return call(plugin);
    } catch (BrokenPlugin const&) {
        throw;
    } catch (InputError const&) {
        throw;
    } catch (std::exception const& error) {
        char const* const text = error.what();
        throw BrokenPlugin(
            fmt::format("the plug-in threw an exception: {}", text != nullptr ? text : "without a text"));
    } catch (...) {
        throw BrokenPlugin("the plug-in threw an exception");
    }
}

/// Throws BrokenPlugin when there is none.
inline std::shared_ptr<ISelector> makeSelectorOf(Plugin const& plugin) {
    auto selector = plugin.makeSelector();
    if (selector == nullptr) {
        throw BrokenPlugin("the plug-in's createCustomSelector leaves the pointer null");
    }
    return selector;
}

}  // namespace Replay
