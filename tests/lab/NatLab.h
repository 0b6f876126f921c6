#pragma once

#include "fakes/ChildProcess.h"

#include <functional>
#include <memory>
#include <string>

namespace ovelo {

/// An internet of network namespaces with a STUN server, two home routers and three hosts; see
/// natlab.sh. It ends with the process that made it at the latest, however that ends.
///
/// One at a time, after enter().
class NatLab {
public:
    /// Gives the process a network and a /run of its own. return: empty, or why that cannot be
    static std::string enter();

    /// kindA, kindB  of router: "full", "addr", "port", "sym", "blocked"
    NatLab(const std::string& kindA, const std::string& kindB, bool hasFirewall = false);

    ~NatLab();
    NatLab(const NatLab&) = delete;
    NatLab& operator=(const NatLab&) = delete;

    /// False when it could not be built.
    [[nodiscard]] bool isBuilt() const { return isBuilt_; }

    /// Starts the STUN server on both its addresses. return: whether it answers
    bool startStunServer();

    /// Runs a function on a thread in a namespace, and waits for it.
    static void runIn(const std::string& name, const std::function<void()>& function);

private:
    bool isBuilt_ = false;
    std::unique_ptr<ChildProcess> stunServer_;
};

} // namespace ovelo
