#pragma once

#include "fakes/ChildProcess.h"
#include "fakes/TemporaryFolder.h"

#include <memory>
#include <string>

namespace ovelo {

/// The software in router natA of a NatLab that forwards ports on request: a real miniupnpd.
class HomeRouter {
public:
    struct Options {
        bool hasUpnp = true;
        bool hasNatPmp = true;
        bool isSecure = true;               // a host can map to itself only
        std::string allowed = "1024-65535"; // external ports; "none": it refuses all
    };

    HomeRouter() : HomeRouter(Options{}) {}
    explicit HomeRouter(const Options& options);
    ~HomeRouter();
    HomeRouter(const HomeRouter&) = delete;
    HomeRouter& operator=(const HomeRouter&) = delete;

    /// Waits until it answers. return: whether it does
    bool isReady();

    /// It is switched off; its mappings are lost.
    void switchOff();
    void switchOn();

    /// Runs a command in a namespace. return: its standard output
    static std::string run(const std::string& name, const std::string& command);

    /// The rules that it has made.
    static std::string rules() { return run("natA", "nft list table inet miniupnpd"); }

private:
    const Options options_;
    TemporaryFolder folder_;
    std::unique_ptr<ChildProcess> daemon_;
};

} // namespace ovelo
