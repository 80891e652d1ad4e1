// The plug-in that the recorder stands before, and what the recorder knows of its state.
#pragma once

#include <cstdint>
#include <memory>

#include "zsl/policy/ISelector.h"

namespace NSCam::Recorder::RealPlugin {

/// Makes a selector of the plug-in, which is opened for the first one. Null, with a line in the log, if there is
/// none.
std::shared_ptr<ZslPolicy::ISelector> makeSelector();

/// The library of the recorder is unloaded: so is the plug-in, as it would be without the recorder.
void close();

/// Around the first call of a selector, of which `isFirst` answers whether it is the process's first: the plug-in
/// reads its runtime switch there, for good.
class FirstCall {
  public:
    FirstCall();
    /// The call has been answered. Without this, what the plug-in read stays unknown.
    void hasAnswered() const;

  private:
    bool mIsFirst;
    int64_t mSwitch;
};

/// What the plug-in holds its runtime switch to be; -1 if that is unknown.
int64_t runtimeSwitch();

/// So many selectors have been called.
int64_t calledSelectors();

}  // namespace NSCam::Recorder::RealPlugin
