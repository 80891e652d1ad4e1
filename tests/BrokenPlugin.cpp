// A plug-in that does what the environment variable BROKEN says.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "zsl/policy/ISelector.h"

namespace {

using NSCam::ZslPolicy::ISelector;

std::string how() { return std::getenv("BROKEN"); }

/// Of classes that are gone with the library.
struct OwnError : std::runtime_error {
    using std::runtime_error::runtime_error;
    char const* what() const noexcept override { return "of its own"; }
};
struct OwnThing {
    std::string text = "no exception's class";
};

void hang() {
    dprintf(STDERR_FILENO, "hangs %d %d\n", getpid(), getppid());
    for (;;) {
        pause();
    }
}

/// Ends, hangs or throws, or does not.
void misbehave(std::string const& kind) {
    if (kind == "abort") {
        std::abort();
    } else if (kind == "exit") {
        std::_Exit(7);
    } else if (kind == "exit0") {
        std::_Exit(0);
    } else if (kind == "throw") {
        throw std::runtime_error("no idea");
    } else if (kind == "own") {
        throw OwnError("");
    } else if (kind == "thing") {
        throw OwnThing();
    } else if (kind == "close") {
        for (int descriptor = 0; descriptor < 64; ++descriptor) {
            close(descriptor);
        }
    } else if (kind == "hang" || (kind == "fork" && fork() == 0)) {
        hang();  // with the descriptors of its parent
    }
}

class Broken : public ISelector {
  public:
    char const* getName() const override { return "Broken"; }

    SelectOutputParams select(SelectInputParams const& in) override {
        misbehave(how());
        SelectOutputParams out;
        if (how() == "frame") {
            out.selectedFrames[0] = {4711, 0};
        } else if (how() == "reserved") {
            out.selectedFrames[0] = {in.history.begin()->first, 5};
        } else if (how() == "set") {
            out.selectedFrames[0] = {in.history.begin()->first, 0};
            out.frameNoSet = {8, 9};
        }
        return out;
    }
};

}  // namespace

extern "C" void createCustomSelector(std::shared_ptr<ISelector>& selector) {
    if (how().compare(0, 7, "factory") == 0) {
        misbehave(how().substr(7));
    }
    if (how() != "null") {
        selector = std::make_shared<Broken>();
    }
}
