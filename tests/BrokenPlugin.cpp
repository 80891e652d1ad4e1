// A plug-in that does what the environment variable BROKEN says.
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "zsl/policy/ISelector.h"

namespace {

using NSCam::ZslPolicy::ISelector;

std::string how() { return std::getenv("BROKEN"); }

class Broken : public ISelector {
  public:
    char const* getName() const override { return "Broken"; }

    SelectOutputParams select(SelectInputParams const& /*in*/) override {
        SelectOutputParams out;
        if (how() == "abort") {
            std::abort();
        } else if (how() == "exit") {
            std::_Exit(7);
        } else if (how() == "throw") {
            throw std::runtime_error("no idea");
        }
        out.selectedFrames[0] = {4711, 0};
        return out;
    }
};

}  // namespace

extern "C" void createCustomSelector(std::shared_ptr<ISelector>& selector) {
    if (how() != "null") {
        selector = std::make_shared<Broken>();
    }
}
